// Cards made by chance: nothing is proposed that was not recorded in one go, and what says enough
// is found.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/bytes.h"
#include "support/evidence_cards.h"
#include "support/temp_dir.h"
#include "workflow/evidence/recordings.h"

using clipchain::EvidenceUnit;
using clipchain::Grade;
using clipchain::ProposedChain;
using support::MadeCard;
using support::MadeClip;
using support::MadeRecording;

namespace {

struct Score {
  std::size_t evident = 0;
  std::size_t found = 0;
  std::size_t wrong = 0;       // proposals of at least that grade
  std::size_t overstated = 0;  // complete, though clips are there or were that are not in it
};

// Files of zeros, which take no disk, for clips that may be copies of one another: nobody else's
// media is looked at.
void PutFiles(MadeCard& card, const support::TempDir& folder) {
  const auto key = [](const MadeClip& clip) {
    return std::pair(clip.traits.movieDigest, clip.traits.size);
  };
  std::map<decltype(key(card.clips.front())), int> counts;
  for (const MadeClip& clip : card.clips) ++counts[key(clip)];
  for (MadeClip& clip : card.clips) {
    const std::filesystem::path path = folder / clip.traits.path;
    clip.traits.path = path.string();
    if (counts[key(clip)] < 2) continue;
    std::filesystem::create_directories(path.parent_path());
    support::WriteFile(path, {});
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(clip.traits.size));
  }
}

std::vector<EvidenceUnit> UnitsOf(const MadeCard& card) {
  std::vector<EvidenceUnit> units;
  for (const MadeClip& clip : card.clips) units.push_back({{clip.traits}});
  return units;
}

bool IsTrue(const MadeCard& card, const ProposedChain& chain) {
  for (std::size_t i = 1; i < chain.units.size(); ++i) {
    const MadeClip& before = card.clips[chain.units[i - 1]];
    const MadeClip& behind = card.clips[chain.units[i]];
    if (before.recording != behind.recording || behind.number <= before.number) return false;
    if (chain.complete && behind.number != before.number + 1) return false;
  }
  return true;
}

std::string Told(const MadeCard& card, const ProposedChain& chain) {
  std::string text = card.story + "\n";
  for (const std::size_t unit : chain.units) {
    const MadeClip& clip = card.clips[unit];
    text += clip.traits.path + " recording " + std::to_string(clip.recording) + " clip " +
            std::to_string(clip.number) + " created " + std::to_string(clip.traits.created) +
            " length " + std::to_string(clip.traits.length.value_or(0)) + "\n";
  }
  for (const auto& evidence : chain.evidence) text += "  " + evidence.text + "\n";
  return text;
}

void Judge(const MadeCard& card, Score& score, std::uint64_t seed) {
  std::vector<bool> found(card.recordings.size());
  for (const ProposedChain& chain : clipchain::ProposeChains(UnitsOf(card))) {
    if (chain.grade < Grade::kLikely) continue;
    const std::size_t recording = card.clips[chain.units.front()].recording;
    if (!IsTrue(card, chain)) {
      ++score.wrong;
      ADD_FAILURE() << "card " << seed << ": " << Told(card, chain);
      continue;
    }
    if (chain.units.size() == card.recordings[recording].clips) {
      found[recording] = true;
    } else if (chain.complete && card.recordings[recording].isWhole) {
      ++score.overstated;
      ADD_FAILURE() << "part of a recording, card " << seed << ": " << Told(card, chain);
    }
  }
  for (std::size_t i = 0; i < card.recordings.size(); ++i) {
    const MadeRecording& recording = card.recordings[i];
    if (!recording.isEvident || recording.clips < 2) continue;
    ++score.evident;
    if (found[i]) {
      ++score.found;
    } else if (std::getenv("CLIPCHAIN_TELL_MISSED") != nullptr) {
      std::printf("missed: card %lu, recording %zu of %zu clips; %s\n",
                  static_cast<unsigned long>(seed), i, recording.clips, card.story.c_str());
    }
  }
}

Score ScoreOf(std::uint64_t from, std::uint64_t to) {
  Score score;
  for (std::uint64_t seed = from; seed < to && score.wrong + score.overstated < 5; ++seed) {
    const support::TempDir folder;
    MadeCard card = support::MakeCard(seed);
    PutFiles(card, folder);
    Judge(card, score, seed);
  }
  return score;
}

}  // namespace

TEST(MadeCards, AreToldApartWithoutAFalseProposal) {
  const auto number = [](const char* name, std::uint64_t otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::strtoull(value, nullptr, 10) : otherwise;
  };
  const std::uint64_t from = number("CLIPCHAIN_FIRST_CARD", 0);
  const Score score = ScoreOf(from, from + number("CLIPCHAIN_MADE_CARDS", 500));
  EXPECT_EQ(score.wrong, 0u);
  EXPECT_GT(score.evident, 500u);
  EXPECT_GE(static_cast<double>(score.found), 0.99 * static_cast<double>(score.evident))
      << score.found << " of " << score.evident;
}
