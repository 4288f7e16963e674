#include "workflow/keeping/alike_files.h"

#include "workflow/keeping/checksum_file.h"
#include "workflow/keeping/listed_bytes.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// Of two ends: files of one program often begin alike, and some end alike.
std::optional<std::uint64_t> ProbeEnds(FileBytes& file, long long fileSize) {
  const auto size = static_cast<Number>(fileSize);
  const std::size_t length = ProbeLength(size);
  const std::optional<std::uint64_t> first = Probe(file, 0, length);
  const std::optional<std::uint64_t> last = Probe(file, size - length, length);
  if (!first || !last) return std::nullopt;
  // With an odd factor nothing of the first is lost, and equal ends do not cancel each other out.
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  return *first * kOdd + *last;
}

}  // namespace

AlikeFiles::AlikeFiles(FileOf fileOf, IsUseless isUseless)
    : fileOf_(std::move(fileOf)), isUseless_(std::move(isUseless)) {}

void AlikeFiles::Add(std::size_t index) { bySize_[fileOf_(index).stamp.size].push_back(index); }

void AlikeFiles::Probe(long long size) {
  const auto found = bySize_.find(size);
  if (found == bySize_.end()) return;
  for (const std::size_t index : found->second) {
    const ListedFile& file = fileOf_(index);
    ListedBytes bytes(file);
    if (bytes.Why()) continue;
    const std::optional<std::uint64_t> ends = ProbeEnds(bytes.Bytes(), size);
    if (!ends) continue;
    Group& group = groups_[{size, *ends}];
    group.all.files.push_back(index);
    group.byName[NameOf(file.path)].files.push_back(index);
  }
  bySize_.erase(found);
}

AlikeFiles::Group* AlikeFiles::GroupOf(const ListedFile& wanted, FileBytes& bytes) {
  const long long size = wanted.stamp.size;
  // A card of pictures has thousands of files: only those of one size are opened.
  Probe(size);
  const auto ofItsSize = groups_.lower_bound({size, 0});
  if (ofItsSize == groups_.end() || ofItsSize->first.first != size) return nullptr;
  const std::optional<std::uint64_t> ends = ProbeEnds(bytes, size);
  if (!ends) return nullptr;
  const auto found = groups_.find({size, *ends});
  return found != groups_.end() ? &found->second : nullptr;
}

Likeness AlikeFiles::CompareFirst(Row& row, const Compare& compare) {
  for (;; ++row.first) {
    const Likeness likeness = compare(row.files[row.first]);
    if (likeness != Likeness::kUseless || row.first + 1 == row.files.size()) return likeness;
  }
}

// Until one more has that hash; false where none has.
bool AlikeFiles::HashMore(const std::string& hash, Group& group) {
  while (group.hashed < group.all.files.size()) {
    const std::size_t index = group.all.files[group.hashed++];
    if (isUseless_(index)) continue;
    ListedBytes bytes(fileOf_(index));
    if (bytes.Why()) continue;
    const std::optional<std::string> own = HashFile(bytes.Bytes(), nullptr);
    if (own) group.byHash[*own].files.push_back(index);
    if (own == hash) return true;
  }
  return false;
}

std::optional<std::size_t> AlikeFiles::FindByHash(const std::string& hash, Group& group,
                                                  const Compare& compare) {
  Row& equal = group.byHash[hash];
  for (std::size_t i = equal.first;; ++i) {
    if (i == equal.files.size() && !HashMore(hash, group)) return std::nullopt;
    const Likeness likeness = compare(equal.files[i]);
    if (likeness == Likeness::kSame) return equal.files[i];
    if (likeness == Likeness::kUseless && i == equal.first) ++equal.first;
  }
}

std::optional<std::size_t> AlikeFiles::Find(const ListedFile& wanted, FileBytes& bytes,
                                            const Compare& compare) {
  Group* const group = GroupOf(wanted, bytes);
  if (group == nullptr) return std::nullopt;
  // Copies mostly keep their name: the first one that is read is then the right one.
  const auto named = group->byName.find(NameOf(wanted.path));
  Row* row = named != group->byName.end() ? &named->second : &group->all;
  Likeness likeness = CompareFirst(*row, compare);
  if (likeness == Likeness::kUseless && row != &group->all) {
    row = &group->all;
    likeness = CompareFirst(*row, compare);
  }
  if (likeness == Likeness::kSame) return row->files[row->first];
  if (likeness == Likeness::kUseless) return std::nullopt;
  // After a difference in the middle, what has the same hash is compared alone.
  const std::optional<std::string> hash = HashFile(bytes, nullptr);
  return hash ? FindByHash(*hash, *group, compare) : std::nullopt;
}

}  // namespace clipchain
