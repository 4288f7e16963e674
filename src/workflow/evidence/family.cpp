#include "workflow/evidence/family.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "workflow/evidence/chance_limits.h"
#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/clock.h"
#include "workflow/evidence/file_times.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/split.h"
#include "workflow/evidence/timecode.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

// Finds clips by their names, be they those of copies.
class NameIndex {
 public:
  explicit NameIndex(const std::vector<FamilyClip>& clips) {
    for (std::size_t i = 0; i < clips.size(); ++i) {
      Add(i, clips[i].folder, clips[i].name);
      for (const auto& [folder, name] : clips[i].copies) Add(i, folder, name);
    }
  }

  std::vector<NextClip> Behind(const FamilyClip& clip, unsigned int step) const {
    std::vector<NextClip> found;
    Behind(clip.folder, clip.name, step, found);
    for (const auto& [folder, name] : clip.copies) Behind(folder, name, step, found);
    return found;
  }

 private:
  void Add(std::size_t clip, const std::string& folder, const std::string& name) {
    clips_.try_emplace(folder + '/' + name, clip);
    const std::filesystem::path path(folder);
    if (const unsigned int number = FolderNumber(NameOf(folder)); number != 0)
      folders_[{path.parent_path().string(), number}].insert(folder);
  }

  void Behind(const std::string& folder, const std::string& name, unsigned int step,
              std::vector<NextClip>& found) const {
    const std::vector<NextName> names = NamesBehind(name, step);
    const auto look = [&](const std::string& place) {
      for (const NextName& next : names) {
        const auto clip = clips_.find(place + '/' + next.name);
        if (clip != clips_.end()) found.push_back({clip->second, next.isChapter});
      }
    };
    look(folder);
    const unsigned int number = FolderNumber(NameOf(folder));
    const auto next =
        folders_.find({std::filesystem::path(folder).parent_path().string(), number + 1});
    // A camera makes one of them.
    constexpr std::size_t kMostFolders = 16;
    if (number == 0 || next == folders_.end() || next->second.size() > kMostFolders) return;
    for (const std::string& other : next->second) look(other);
  }

  std::unordered_map<std::string, std::size_t> clips_;
  std::map<std::pair<std::string, unsigned int>, std::set<std::string>> folders_;
};

void DivideIntoCards(Family& family) {
  std::map<unsigned int, std::size_t> cards;
  for (std::size_t i = 0; i < family.clips.size(); ++i) {
    FamilyClip& clip = family.clips[i];
    const auto [place, isNew] = cards.try_emplace(clip.traits->volume, family.cards.size());
    if (isNew) family.cards.emplace_back().volume = clip.traits->volume;
    clip.card = place->second;
    family.cards[clip.card].clips.push_back(i);
  }
}

void NoteStops(Family& family, const FamilyCard& card) {
  for (const std::size_t i : card.clips) family.clips[i].stops = false;
  for (const Limit& limit : card.limits) {
    for (const std::size_t i : limit.clips) family.clips[i].stops = true;
  }
}

using TimedClips = std::vector<std::pair<std::int64_t, std::size_t>>;

// The clips of a folder by the times of their files, if these are the times at which they were
// recorded, one behind the other: none is closer to the one before than it runs.
TimedClips ByFileTimes(const Family& family, const std::vector<std::size_t>& members) {
  TimedClips clips;
  for (const std::size_t i : members) {
    if (!family.Traits(i).written || !family.Traits(i).length) return {};
    clips.emplace_back(*family.Traits(i).written, i);
  }
  std::sort(clips.begin(), clips.end());
  for (std::size_t i = 1; i < clips.size(); ++i) {
    const Nanoseconds between = clips[i].first - clips[i - 1].first;
    if (between < *family.Traits(clips[i].second).length - kClockSlack) return {};
  }
  return clips;
}

// Whether numbers fall again and again while times rise.
bool FallsOften(const Family& family, const TimedClips& clips) {
  std::size_t falls = 0;
  std::size_t all = 0;
  for (std::size_t i = 1; i < clips.size(); ++i) {
    if (clips[i - 1].first == clips[i].first) continue;
    const NumberOrder order =
        OrderOfNumbers(family.clips[clips[i - 1].second].name, family.clips[clips[i].second].name);
    if (order == NumberOrder::kFalls) ++falls;
    if (order != NumberOrder::kNone) ++all;
  }
  constexpr std::size_t kLeast = 3;
  return falls >= kLeast && falls * 4 >= all;
}

// Finds folders in which numbers fall again and again while the clock or the times of the files
// rise, or leave the way of the timecodes: somebody gave the clips other names, and numbers there
// tell nothing.
void NoteRenumbering(Family& family, const FamilyCard& card) {
  std::map<std::string, std::vector<std::size_t>> folders;
  for (const std::size_t i : card.clips) folders[family.clips[i].folder].push_back(i);
  for (const auto& [folder, members] : folders) {
    TimedClips clips;
    for (const std::size_t i : members) {
      if (family.clips[i].time) clips.emplace_back(*family.clips[i].time, i);
    }
    std::sort(clips.begin(), clips.end());
    if (!FallsOften(family, clips) && !FallsOften(family, ByFileTimes(family, members)) &&
        !NumbersLeaveTimecodes(family, card, members))
      continue;
    for (const std::size_t i : members) family.clips[i].isRenumbered = true;
  }
}

void IndexTimes(Family& family) {
  for (const ClockCustom custom : {ClockCustom::kStart, ClockCustom::kEnd})
    family.clock[custom] = ClockIndex(family.clips, custom);
}

}  // namespace

ClockIndex::ClockIndex(const std::vector<FamilyClip>& clips, ClockCustom custom) {
  for (std::size_t i = 0; i < clips.size(); ++i) {
    if (const auto begin = BeginOf(clips[i], custom)) begins_.emplace_back(*begin, i);
  }
  std::sort(begins_.begin(), begins_.end());
}

std::vector<std::size_t> ClockIndex::Near(Nanoseconds moment, std::size_t most) const {
  std::vector<std::size_t> found;
  auto at = std::lower_bound(begins_.begin(), begins_.end(),
                             std::pair(moment - kClockSlack, std::size_t{0}));
  for (; at != begins_.end() && at->first <= moment + kClockSlack; ++at) {
    if (found.size() > most) return {};
    found.push_back(at->second);
  }
  return found;
}

Family MakeFamily(std::vector<FamilyClip> clips) {
  Family family;
  family.clips = std::move(clips);
  DivideIntoCards(family);
  const NameIndex names(family.clips);
  for (FamilyClip& clip : family.clips) {
    clip.next = names.Behind(clip, 1);
    clip.nextButOne = names.Behind(clip, 2);
    clip.time = UsableTime(clip.traits->created);
  }
  IndexTimecodes(family);
  NoteTwofold(family);
  NoteChapters(family);
  for (FamilyCard& card : family.cards) {
    card.limits = LimitsOf(family.clips, card.clips);
    NoteStops(family, card);
  }
  for (const FamilyCard& card : family.cards) NoteRenumbering(family, card);
  DropSharedTimes(family);
  IndexTimes(family);
  for (FamilyCard& card : family.cards) NoteCustom(family, card);
  for (FamilyCard& card : family.cards) {
    DropChanceLimits(family, card);
    NoteStops(family, card);
  }
  NoteCounters(family);
  return family;
}

std::vector<std::size_t> ClipsFromTimecode(const Family& family, std::int64_t earliest,
                                           std::int64_t latest, std::size_t most) {
  std::vector<std::size_t> found;
  const auto look = [&](std::int64_t from, std::int64_t to) {
    auto at = std::lower_bound(family.timecodes.begin(), family.timecodes.end(),
                               std::pair(from, std::size_t{0}));
    for (; at != family.timecodes.end() && at->first <= to && found.size() <= most; ++at)
      found.push_back(at->second);
  };
  if (earliest <= latest) {
    look(earliest, latest);
  } else {
    look(earliest, earliest);
    look(latest, latest);
  }
  if (found.size() > most) found.clear();
  return found;
}

}  // namespace clipchain
