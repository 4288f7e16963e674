#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "workflow/keeping/checksums_beside.h"
#include "workflow/keeping/kept_bytes.h"
#include "workflow/keeping/result_proof.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// More files of the same beginning than that are not told apart by reading them at once.
constexpr std::size_t kMostCandidates = 16;

// A file of a card that may be a clip of an archive, read along with it.
struct Suspect {
  std::size_t clip;
  std::unique_ptr<ListedBytes> bytes;
};

bool CoversAll(const Originals& contents, const MergeImage& image) {
  Number sum = 0;
  for (const OriginalClip& clip : contents.clips) {
    for (const RecipeStep& step : clip.recipe) sum += step.size;
  }
  return sum + image.OwnSize() == image.size;
}

std::string NotThere(const OriginalClip& clip) {
  return fmt::format("has a clip {} that is not on the cards", PrintablePath(clip.name));
}

}  // namespace

ResultProof::Candidates ResultProof::CandidatesFor(const OriginalClip& clip, ListedBytes& bytes,
                                                   Candidates& ofItsSize) {
  Number at = 0;
  const RecipeStep* largest = nullptr;
  // Of the largest step's media in the clip.
  Number place = 0;
  for (const RecipeStep& step : clip.recipe) {
    at += step.kept;
    if (largest == nullptr || step.size > largest->size) {
      largest = &step;
      place = at;
    }
    at += step.size;
  }
  Candidates candidates;
  const std::vector<CardFile>& files = cards_.Files();
  for (std::size_t i = 0; i < files.size() && candidates.size() < kMostCandidates; ++i) {
    if (!files[i].isClip || static_cast<Number>(files[i].file.stamp.size) != clip.size) continue;
    if (ofItsSize.size() < kMostCandidates) ofItsSize.push_back(i);
    if (largest != nullptr && largest->size != 0) {
      ListedBytes card(files[i].file);
      const std::size_t length = ProbeLength(largest->size);
      if (card.Why()) continue;
      const auto probe = Probe(card.Bytes(), place, length);
      if (!probe || probe != Probe(bytes.Bytes(), largest->position, length)) continue;
    }
    candidates.push_back(i);
  }
  return candidates;
}

// Reads the archive and the result as the recipe says, beside the files that may be the clip, of
// which those stay that are the same in every byte.
Reason ResultProof::CompareClip(ListedBytes& bytes, OriginalsReader& reader, std::size_t clip,
                                Candidates& candidates, PassingHash& hash) {
  const OriginalClip& original = reader.Contents().clips[clip];
  if (Reason why = reader.NextClip()) return why;
  std::vector<Suspect> suspects;
  for (const std::size_t candidate : candidates) {
    auto card = std::make_unique<ListedBytes>(cards_.Files()[candidate].file);
    if (!card->Why()) suspects.push_back({candidate, std::move(card)});
  }
  const std::string missing = NotThere(original);
  ContentHash content(!original.hashes.sha256.empty());
  std::vector<unsigned char> made(kCompareBlock);
  std::vector<unsigned char> theirs(kCompareBlock);
  Number at = 0;
  const auto compare = [&](std::size_t size) {
    content.Update(made.data(), size);
    std::erase_if(suspects, [&](const Suspect& suspect) {
      return !suspect.bytes->Bytes().Read(at, theirs.data(), size) ||
             !std::equal(made.begin(), made.begin() + static_cast<std::ptrdiff_t>(size),
                         theirs.begin());
    });
    at += size;
    return meter_.Add(size);
  };
  for (const RecipeStep& step : original.recipe) {
    for (Number done = 0; done < step.kept;) {
      const auto part = static_cast<std::size_t>(std::min<Number>(step.kept - done, kCompareBlock));
      if (Reason why = reader.Read(made.data(), part)) return why;
      if (!compare(part)) return missing;
      done += part;
    }
    for (Number done = 0; done < step.size;) {
      const auto part = static_cast<std::size_t>(std::min<Number>(step.size - done, kCompareBlock));
      if (!bytes.Bytes().Read(step.position + done, made.data(), part))
        return "belongs to a result that can't be read";
      hash.See(step.position + done, made.data(), part);
      if (!compare(part)) return missing;
      done += part;
    }
  }
  if (content.Value() != original.hashes)
    return fmt::format("does not give {} any more: the result was changed, or is another one",
                       PrintablePath(original.name));
  candidates.clear();
  for (const Suspect& suspect : suspects) candidates.push_back(suspect.clip);
  if (candidates.empty()) return missing;
  return std::nullopt;
}

// All of the result that is no clip's is what the merge puts there, and the recipes leave nothing
// of the rest out.
Reason ResultProof::CheckImage(KeptFile& result, ListedBytes& bytes, const Originals& contents,
                               const std::vector<std::size_t>& clips) {
  MergeImage image;
  TopLevel boxes;
  if (!order_.Allows(clips)) return "has clips in another order than their identifiers say";
  if (boxes.Read(bytes.Bytes())) return "is beside a result that is not a merge of its clips";
  if (const Findings faults = MakeMergeImage(PathsOf(clips), contents.options, boxes.layout, image);
      !faults.empty())
    return "has clips that can't be merged: " + faults.front().text;
  if (image.size != contents.resultSize || !CoversAll(contents, image))
    return "says something else than a merge of its clips";
  for (std::size_t clip = 0; clip < clips.size(); ++clip) {
    if (RecipeFor(image, clip, contents.clips[clip].size) != contents.clips[clip].recipe)
      return "has another recipe than a merge of its clips";
  }
  if (!OwnBytesFit(result, bytes, image))
    return "is beside a result that is not a merge of its clips";
  return std::nullopt;
}

Reason ResultProof::CheckArchive(KeptFile& result, ListedBytes& bytes, KeptFile& archive,
                                 bool& elsewhere) {
  Reason why;
  const std::unique_ptr<ListedBytes> file = kept_.Open(archive, cards_, why);
  if (file == nullptr) return why;
  OriginalsReader reader;
  if (why = reader.Open(file->Bytes()); why) return why;
  const Originals& contents = reader.Contents();
  if (contents.resultSize != static_cast<Number>(result.file.stamp.size))
    return "belongs to a result of another size";
  PassingHash hash(bytes.Bytes());
  std::vector<std::size_t> clips;
  std::vector<std::size_t> all;
  for (std::size_t clip = 0; clip < contents.clips.size(); ++clip) {
    Candidates ofItsSize;
    Candidates candidates = CandidatesFor(contents.clips[clip], bytes, ofItsSize);
    // A clip of another size is another clip, and there is no need to read the result.
    why = ofItsSize.empty() ? Reason(NotThere(contents.clips[clip]))
                            : CompareClip(bytes, reader, clip, candidates, hash);
    if (why) {
      elsewhere = candidates.empty();
      Blame(candidates.empty() ? ofItsSize : candidates,
            PrintablePath(archive.file.path) + ' ' + *why);
      return why;
    }
    clips.push_back(candidates.front());
    all.insert(all.end(), candidates.begin(), candidates.end());
  }
  why = reader.AtEnd();
  if (!why) why = CheckImage(result, bytes, contents, clips);
  if (!why) {
    if (const Reason sums = CheckChecksums(kept_, result, hash, reader.FileHash()))
      why = "counts only beside checksums that fit: " + *sums;
  }
  if (!why) {
    kept_.Count(result);
    kept_.Count(archive);
    Keep(all, Keeping::kEveryByte);
  } else {
    Blame(all, PrintablePath(archive.file.path) + ' ' + *why);
  }
  return why;
}

void ResultProof::TryArchive(KeptFile& result) {
  const std::string path = result.file.path + std::string(kOriginalsSuffix);
  KeptFile* const archive = kept_.At(path);
  if (archive == nullptr) {
    if (kept_.Hides(path)) {
      result.whyNot = "is beside an archive of originals that can't be used";
      BlameUnusable(result);
    }
    return;
  }
  // What it keeps is said by its archive: a clip that is otherwise anywhere is not among them.
  result.mayBeResult = false;
  Reason why;
  const std::unique_ptr<ListedBytes> bytes = kept_.Open(result, cards_, why);
  if (bytes == nullptr) return BlameUnusable(result);
  bool elsewhere = false;
  why = CheckArchive(result, *bytes, *archive, elsewhere);
  if (!why) return;
  // With an archive that does not fit the result counts for nothing, and its clips are told why.
  // One of clips that lie elsewhere fits: the result may be the copy of a file of the cards.
  if (!elsewhere) result.whyNot = "is beside an archive of originals that does not fit";
  BlameAllOf(*bytes, PrintablePath(archive->file.path) + ' ' + *why);
}

void ResultProof::BlameUnusable(const KeptFile& result) {
  // Which clips it has can be seen though it keeps none of them.
  ListedBytes bytes(result.file);
  if (!bytes.Why())
    BlameAllOf(bytes, PrintablePath(result.file.path) + " has its media, but " + *result.whyNot);
}

// Those whose media stands in the file.
void ResultProof::BlameAllOf(ListedBytes& bytes, const std::string& reason) {
  TopLevel boxes;
  // Finds the media also where what follows is wrong.
  static_cast<void>(boxes.Read(bytes.Bytes()));
  const auto blame = [&](const std::vector<std::size_t>& clips) {
    Blame(clips, reason);
    return true;
  };
  if (!chains_.Find(bytes.Bytes(), boxes, blame)) Blame(chains_.Beginning(), reason);
}

}  // namespace clipchain
