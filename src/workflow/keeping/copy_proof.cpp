#include "workflow/keeping/copy_proof.h"

#include <algorithm>
#include <optional>

#include "workflow/keeping/checksum_file.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// Of two ends: files of one program often begin alike, and some end alike.
std::optional<std::uint64_t> ProbeEnds(FileBytes& file, Number size) {
  const std::size_t length = ProbeLength(size);
  const std::optional<std::uint64_t> first = Probe(file, 0, length);
  const std::optional<std::uint64_t> last = Probe(file, size - length, length);
  if (!first || !last) return std::nullopt;
  // With an odd factor nothing of the first is lost, and equal ends do not cancel each other out.
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  return *first * kOdd + *last;
}

}  // namespace

void CopyProof::TryEmpty(CardFile& file) {
  if (file.isClip) {
    file.reason = "is a clip without a byte";
    return;
  }
  for (const std::size_t candidate : kept_.EmptyOnesOf(NameOf(file.file.path))) {
    KeptFile& copy = kept_.Files()[candidate];
    Reason why;
    // There is no byte to compare, but the name must be on the disk, and on no card.
    if (kept_.Open(copy, cards_, why) != nullptr) {
      kept_.Count(copy);
      file.keeping = Keeping::kEveryByte;
      return;
    }
    file.reason = PrintablePath(copy.file.path) + ' ' + *why;
  }
  if (file.reason.empty()) file.reason = "is empty, and there is no empty file of its name";
}

// Those that begin and end alike, of the same name first.
std::vector<std::size_t> CopyProof::CandidatesFor(const CardFile& file, ListedBytes& bytes) {
  std::vector<std::size_t> candidates;
  const auto size = static_cast<Number>(file.file.stamp.size);
  // A card of pictures has thousands of files: only those of one size are opened.
  const std::vector<std::size_t>& sameSize = kept_.OfSize(file.file.stamp.size);
  if (sameSize.empty()) return candidates;
  const std::optional<std::uint64_t> probe = ProbeEnds(bytes.Bytes(), size);
  for (const std::size_t index : sameSize) {
    KeptFile& candidate = kept_.Files()[index];
    if (!candidate.probe) {
      ListedBytes other(candidate.file);
      if (other.Why()) candidate.whyNot = other.Why();
      if (!other.Why()) candidate.probe = ProbeEnds(other.Bytes(), size);
    }
    if (probe && candidate.probe == probe) candidates.push_back(index);
  }
  const std::string name = NameOf(file.file.path);
  // Copies mostly keep their name: the first one that is read is then the right one.
  std::stable_partition(candidates.begin(), candidates.end(), [&](std::size_t index) {
    return NameOf(kept_.Files()[index].file.path) == name;
  });
  return candidates;
}

Reason CopyProof::Compare(CardFile& file, KeptFile& candidate) {
  Reason why;
  const std::unique_ptr<ListedBytes> copy = kept_.Open(candidate, cards_, why);
  if (copy == nullptr) return PrintablePath(candidate.file.path) + ' ' + *why;
  ListedBytes bytes(file.file);
  if (bytes.Why()) return bytes.Why();
  return compare_.Compare({copy->Bytes(), candidate.file.path, 0},
                          {bytes.Bytes(), file.file.path, 0},
                          static_cast<Number>(file.file.stamp.size), nullptr);
}

const std::optional<std::string>& CopyProof::HashOf(std::size_t candidate) {
  std::optional<std::string>& hash = hashes_[candidate];
  if (!hash) {
    ListedBytes bytes(kept_.Files()[candidate].file);
    if (!bytes.Why()) hash = HashFile(bytes.Bytes(), nullptr);
  }
  return hash;
}

void CopyProof::Try(CardFile& file) {
  if (file.file.stamp.size == 0) return TryEmpty(file);
  ListedBytes bytes(file.file);
  if (bytes.Why()) {
    file.reason = *bytes.Why();
    return;
  }
  std::optional<std::string> mine;
  bool first = true;
  for (const std::size_t candidate : CandidatesFor(file, bytes)) {
    KeptFile& copy = kept_.Files()[candidate];
    // After a difference in the middle, what has the same hash is compared alone. What keeps
    // nothing is not read at all.
    if (!first && !copy.whyNot) {
      if (!mine) mine = HashFile(bytes.Bytes(), nullptr);
      if (HashOf(candidate) != mine) continue;
    }
    first = first && copy.whyNot.has_value();
    const Reason why = Compare(file, copy);
    if (meter_.Stopped()) return;
    // From the first byte to the last: hashes and ends only choose what is compared.
    if (!why) {
      kept_.Count(copy);
      file.keeping = Keeping::kEveryByte;
      return;
    }
    file.reason = *why;
  }
}

std::size_t CopyProof::TryTwin(CardFile& file) {
  std::vector<CardFile>& files = cards_.Files();
  const auto size = static_cast<Number>(file.file.stamp.size);
  for (std::size_t i = 0; i < files.size(); ++i) {
    CardFile& twin = files[i];
    if (&twin == &file || twin.keeping == Keeping::kNot || !twin.isClip ||
        twin.file.stamp.size != file.file.stamp.size)
      continue;
    ListedBytes mine(file.file);
    ListedBytes theirs(twin.file);
    // The clip itself is told to be unreadable where it was tried first.
    if (mine.Why() || theirs.Why()) continue;
    const std::optional<std::uint64_t> probe = ProbeEnds(mine.Bytes(), size);
    if (!probe || probe != ProbeEnds(theirs.Bytes(), size)) continue;
    const Reason why = compare_.Compare({mine.Bytes(), file.file.path, 0},
                                        {theirs.Bytes(), twin.file.path, 0}, size, nullptr);
    if (meter_.Stopped()) break;
    if (why) continue;
    file.keeping = twin.keeping;
    return i;
  }
  return files.size();
}

}  // namespace clipchain
