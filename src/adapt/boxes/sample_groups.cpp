#include "adapt/boxes/sample_groups.h"

#include <algorithm>
#include <numeric>

#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be32;

// Indexes of a fragment above it count the descriptions in the fragment (8.9.2.3).
constexpr std::uint32_t kFragmentIndex = 0x10000;

// More groupings at once, or parameters of one, are in no file: each costs time with each part.
constexpr std::size_t kMostKinds = 64;

struct Run {
  be32 count;
  be32 index;
};

// How long an entry of version 0 is, which does not say it (10.1 to 10.5); 0 for others.
std::size_t FixedLength(unsigned int type) {
  switch (type) {
    case FourCc("roll"):
    case FourCc("prol"):
      return 2;
    case FourCc("rap "):
    case FourCc("tele"):
    case FourCc("sync"):
      return 1;
    default:
      return 0;
  }
}

bool TakeEntry(std::span<const unsigned char>& in, std::size_t length, std::vector<Bytes>& to) {
  if (length > in.size()) return false;
  to.emplace_back(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(length));
  in = in.subspan(length);
  return true;
}

// An entry takes a byte at least, so that no count exceeds the bytes.
bool TakeEntries(std::span<const unsigned char> in, std::uint32_t defaultLength, bool eachSays,
                 std::uint32_t count, std::vector<Bytes>& to) {
  if (count > in.size()) return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    be32 length;
    length = defaultLength;
    if (eachSays && !TakeField(in, length)) return false;
    if (!TakeEntry(in, length, to)) return false;
  }
  return true;
}

std::optional<unsigned int> GroupingType(const RawBox& box) {
  if (box.data.size() < 2 * sizeof(be32)) return std::nullopt;
  auto in = std::span<const unsigned char>(box.data).subspan(sizeof(be32));
  be32 type;
  if (!TakeField(in, type)) return std::nullopt;
  return type;
}

struct GroupTable {
  unsigned int type = 0;
  std::optional<std::uint32_t> parameter;
  std::vector<GroupRun> runs;
};

std::optional<GroupTable> ReadGroupTable(const RawBox& sbgp) {
  std::span<const unsigned char> in = sbgp.data;
  GroupTable table;
  be32 versionAndFlags;
  be32 type;
  be32 parameter;
  be32 count;
  if (!TakeField(in, versionAndFlags) || !TakeField(in, type)) return std::nullopt;
  table.type = type;
  const unsigned int version = versionAndFlags >> 24;
  if (version > 1) return std::nullopt;
  if (version == 1) {
    if (!TakeField(in, parameter)) return std::nullopt;
    table.parameter = parameter;
  }
  const auto decode = [](const Run& run) { return GroupRun{run.count, run.index}; };
  if (!TakeField(in, count) || !TakeTable<Run>(in, count, table.runs, decode)) return std::nullopt;
  return table;
}

// Numbers of 4, 8, 16 or 32 bits, one behind the other.
class NumberReader {
 public:
  explicit NumberReader(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  // In halves of a byte.
  std::size_t Left() const { return bytes_.size() * 2 - half_; }
  // `code` 0 to 3 is how wide it is. False: there are too few bytes.
  bool Take(unsigned int code, std::uint32_t& number) {
    const std::size_t halves = std::size_t{1} << code;
    if (halves > Left()) return false;
    number = 0;
    for (std::size_t i = 0; i < halves; ++i, ++half_)
      number = number << 4 | (half_ % 2 == 0 ? bytes_[half_ / 2] >> 4 : bytes_[half_ / 2] & 15);
    return true;
  }

 private:
  std::span<const unsigned char> bytes_;
  std::size_t half_ = 0;
};

// So many runs may a compact table become, which says with a few bytes what goes on for long.
constexpr std::size_t kMostCompactRuns = 1U << 22;

struct Pattern {
  std::uint32_t length = 0;
  std::uint32_t samples = 0;
};

// Spells patterns out, each of which goes round until it has spoken of its samples.
bool SpellPatterns(const std::vector<Pattern>& patterns, NumberReader& in, unsigned int flags,
                   std::vector<GroupRun>& runs) {
  constexpr unsigned int kLocalIsMarked = 0x80;
  const unsigned int code = flags & 3;
  // With the flag the top bit of an index says that the description stands in the fragment.
  const std::uint32_t mark =
      (flags & kLocalIsMarked) != 0 ? 1U << ((std::size_t{4} << code) - 1) : 0;
  std::vector<std::uint32_t> indexes;
  for (const Pattern& pattern : patterns) {
    if (pattern.length == 0 || pattern.length > in.Left()) return false;
    indexes.resize(pattern.length);
    for (std::uint32_t& index : indexes) {
      if (!in.Take(code, index)) return false;
      if ((index & mark) != 0) index = (index & ~mark) + kFragmentIndex;
    }
    const bool isOne = std::all_of(indexes.begin(), indexes.end(),
                                   [&](std::uint32_t index) { return index == indexes.front(); });
    if (isOne) {
      runs.push_back({pattern.samples, indexes.front()});
      continue;
    }
    if (pattern.samples > kMostCompactRuns - std::min(runs.size(), kMostCompactRuns)) return false;
    for (std::uint32_t i = 0; i < pattern.samples; ++i)
      runs.push_back({1, indexes[i % pattern.length]});
  }
  return true;
}

// "csgp" (8.9.5).
std::optional<GroupTable> ReadCompactTable(const RawBox& csgp) {
  constexpr unsigned int kHasParameter = 0x40;
  std::span<const unsigned char> in = csgp.data;
  GroupTable table;
  be32 flags;
  be32 type;
  be32 parameter;
  be32 count;
  if (!TakeField(in, flags) || flags >> 24 != 0 || !TakeField(in, type)) return std::nullopt;
  table.type = type;
  if ((flags & kHasParameter) != 0) {
    if (!TakeField(in, parameter)) return std::nullopt;
    table.parameter = parameter;
  }
  if (!TakeField(in, count) || count > in.size()) return std::nullopt;
  NumberReader numbers(in);
  std::vector<Pattern> patterns(count);
  for (Pattern& pattern : patterns) {
    if (!numbers.Take(flags >> 4 & 3, pattern.length) ||
        !numbers.Take(flags >> 2 & 3, pattern.samples))
      return std::nullopt;
  }
  if (!SpellPatterns(patterns, numbers, flags, table.runs)) return std::nullopt;
  return table;
}

bool IsTable(const RawBox& box) { return box.type == FourCc("sbgp") || box.type == FourCc("csgp"); }

RawBox DescriptionsBox(unsigned int type, const GroupDescriptions& groups) {
  const std::vector<Bytes>& entries = *groups.entries;
  const bool areAlike =
      !entries.empty() && std::all_of(entries.begin(), entries.end(), [&](const Bytes& entry) {
        return entry.size() == entries.front().size();
      });
  // 0 where each entry says its own length (8.9.3.2).
  const auto common = areAlike ? static_cast<std::uint32_t>(entries.front().size()) : 0;
  // Version 0 does not say how long entries are, and is deprecated (8.9.3.1).
  const unsigned int version = std::max(groups.version, 1U);
  RawBox box(FourCc("sgpd"), {});
  PutField<be32>(box.data, version << 24 | groups.flags);
  PutField<be32>(box.data, type);
  PutField<be32>(box.data, common);
  if (version >= 2) PutField<be32>(box.data, groups.defaultIndex);
  PutField<be32>(box.data, static_cast<std::uint32_t>(entries.size()));
  for (const Bytes& entry : entries) {
    if (common == 0) PutField<be32>(box.data, static_cast<std::uint32_t>(entry.size()));
    box.data.insert(box.data.end(), entry.begin(), entry.end());
  }
  return box;
}

RawBox GroupBox(unsigned int type, std::optional<std::uint32_t> parameter,
                const std::vector<GroupRun>& runs) {
  RawBox box(FourCc("sbgp"), {});
  PutField<be32>(box.data, parameter ? 1U << 24 : 0);
  PutField<be32>(box.data, type);
  if (parameter) PutField<be32>(box.data, *parameter);
  PutField<be32>(box.data, static_cast<std::uint32_t>(runs.size()));
  PutTable(box.data, runs, [](const GroupRun& run) {
    Run record;
    record.count = run.count;
    record.index = run.index;
    return record;
  });
  return box;
}

}  // namespace

std::optional<GroupDescriptions> ReadGroupDescriptions(const RawBox& sgpd, unsigned int& type) {
  std::span<const unsigned char> in = sgpd.data;
  GroupDescriptions groups;
  be32 versionAndFlags;
  be32 grouping;
  be32 length;
  be32 defaultIndex;
  be32 count;
  length = 0;
  defaultIndex = 0;
  if (!TakeField(in, versionAndFlags) || !TakeField(in, grouping)) return std::nullopt;
  groups.version = versionAndFlags >> 24;
  groups.flags = versionAndFlags & 0xFFFFFF;
  type = grouping;
  if (groups.version > 2 || (groups.version >= 1 && !TakeField(in, length)) ||
      (groups.version >= 2 && !TakeField(in, defaultIndex)) || !TakeField(in, count)) {
    return std::nullopt;
  }
  groups.defaultIndex = defaultIndex;
  groups.count = count;
  if (groups.defaultIndex > groups.count) return std::nullopt;
  std::vector<Bytes> entries;
  if (groups.version == 0) {
    // One entry has all that is there; where several of an unknown kind part nobody can tell.
    const std::size_t fixed = groups.count == 1 ? in.size() : FixedLength(type);
    if (groups.count != 0 && fixed == 0) return groups;
    length = static_cast<std::uint32_t>(fixed);
  }
  const bool eachSays = groups.version >= 1 && length == 0;
  if (!TakeEntries(in, length, eachSays, groups.count, entries)) return std::nullopt;
  groups.entries = std::move(entries);
  return groups;
}

void SampleGroups::Runs::Append(std::uint64_t count, std::uint32_t index) {
  // A run counts with 32 bits, and clips together may have more.
  constexpr std::uint64_t kMost = 0xFFFFFFFF;
  samples += count;
  if (!entries.empty() && entries.back().index == index) {
    const std::uint64_t more = std::min(count, kMost - entries.back().count);
    entries.back().count += static_cast<std::uint32_t>(more);
    count -= more;
  }
  for (; count > 0; count -= entries.back().count) {
    entries.push_back({static_cast<std::uint32_t>(std::min(count, kMost)), index});
  }
}

bool SampleGroups::Runs::IsAny() const {
  return std::any_of(entries.begin(), entries.end(),
                     [](const GroupRun& run) { return run.index != 0; });
}

void SampleGroups::LeaveOut(unsigned int type) {
  leftOut_.insert(type);
  kinds_.erase(type);
}

void SampleGroups::Append(const RawBox& table, std::uint32_t samples) {
  Part part;
  for (const RawBox& box : table.children) {
    if (box.type == FourCc("sgpd")) TakeDescriptions(box, false, part);
  }
  for (const RawBox& box : table.children) {
    if (IsTable(box)) TakeRuns(box, part, false, samples);
  }
  FillUp(part, samples);
}

void SampleGroups::AppendFragment(const RawBox& fragment, std::uint32_t samples) {
  Part part;
  for (const RawBox& box : fragment.children) {
    if (box.type == FourCc("sgpd")) TakeDescriptions(box, true, part);
  }
  for (const RawBox& box : fragment.children) {
    if (IsTable(box)) TakeRuns(box, part, true, samples);
  }
  // A part without descriptions of its own goes on with the default of those before.
  for (const auto& [type, kind] : kinds_) {
    part.defaults.try_emplace(type, kind.descriptions.defaultIndex);
  }
  FillUp(part, samples);
}

void SampleGroups::TakeDescriptions(const RawBox& box, bool isFragment, Part& part) {
  const auto named = GroupingType(box);
  if (!named || leftOut_.count(*named) != 0) {
    if (!named) leftOut_.insert(box.type);
    return;
  }
  unsigned int type = *named;
  // Of two boxes of one type nobody can tell which one the indexes count.
  if (part.indexes.count(type) != 0) return LeaveOut(type);
  const auto groups = ReadGroupDescriptions(box, type);
  if (!groups) return LeaveOut(type);
  Indexes& indexes = part.indexes[type];
  const auto found = kinds_.find(type);
  if (found == kinds_.end()) {
    if (kinds_.size() >= kMostKinds) return LeaveOut(type);
    Kind& kind = kinds_[type];
    kind.descriptions = *groups;
    kind.asRead = box;
    // A description is counted by the bytes that stand for it, or by a number that nothing bounds.
    const std::size_t count = groups->entries ? groups->entries->size() : groups->count;
    if (count > box.data.size()) return LeaveOut(type);
    indexes.resize(count);
    std::iota(indexes.begin(), indexes.end(), 1U);
    if (!isFragment) kind.ofMovie = count;
    // Fragments mostly repeat the box, which is then not read for each of them.
  } else if (found->second.lastRead == box.data) {
    indexes = found->second.lastIndexes;
  } else if (!Join(found->second, *groups, indexes)) {
    return LeaveOut(type);
  }
  Kind& kind = kinds_[type];
  kind.lastRead = box.data;
  kind.lastIndexes = indexes;
  part.defaults[type] = groups->defaultIndex != 0 ? indexes[groups->defaultIndex - 1] : 0;
}

bool SampleGroups::Join(Kind& kind, const GroupDescriptions& added, Indexes& indexes) {
  if (!kind.descriptions.entries || !added.entries) return false;
  std::vector<Bytes>& entries = *kind.descriptions.entries;
  // Few tracks have a second box of a type: what is there is looked up from that one on.
  if (kind.places.empty()) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      kind.places.try_emplace(entries[i], static_cast<std::uint32_t>(i + 1));
    }
  }
  for (const Bytes& entry : *added.entries) {
    const auto [place, isNew] =
        kind.places.try_emplace(entry, static_cast<std::uint32_t>(entries.size() + 1));
    if (isNew) {
      entries.push_back(entry);
      kind.asRead = RawBox();
    }
    indexes.push_back(place->second);
  }
  return true;
}

bool SampleGroups::IndexOf(const Indexes* own, const Kind& kind, bool isFragment,
                           std::uint32_t& index) const {
  if (index == 0) return true;
  // Up to it the descriptions of the movie are counted, which stay in front.
  if (isFragment && index <= kFragmentIndex) return index <= kind.ofMovie;
  if (isFragment) index -= kFragmentIndex;
  if (own == nullptr || index > own->size()) return false;
  index = (*own)[index - 1];
  return true;
}

void SampleGroups::TakeRuns(const RawBox& box, const Part& own, bool isFragment,
                            std::uint32_t samples) {
  const auto table = box.type == FourCc("csgp") ? ReadCompactTable(box) : ReadGroupTable(box);
  const auto named = GroupingType(box);
  if (!table) {
    if (named) LeaveOut(*named);
    if (!named) leftOut_.insert(box.type);
    return;
  }
  if (leftOut_.count(table->type) != 0) return;
  const auto kind = kinds_.find(table->type);
  if (kind == kinds_.end()) return LeaveOut(table->type);
  const auto indexes = own.indexes.find(table->type);
  Runs& runs = kind->second.runs[table->parameter];
  if (kind->second.runs.size() > kMostKinds) return LeaveOut(table->type);
  const std::uint64_t told =
      std::accumulate(table->runs.begin(), table->runs.end(), std::uint64_t{0},
                      [](std::uint64_t sum, const GroupRun& run) { return sum + run.count; });
  // Two tables of one kind, or one of more samples than there are.
  if (runs.samples > samples_ || told > samples) return LeaveOut(table->type);
  runs.Append(samples_ - runs.samples, 0);
  for (const GroupRun& run : table->runs) {
    std::uint32_t index = run.index;
    const Indexes* const places = indexes != own.indexes.end() ? &indexes->second : nullptr;
    if (!IndexOf(places, kind->second, isFragment, index)) return LeaveOut(table->type);
    runs.Append(run.count, index);
  }
}

void SampleGroups::FillUp(const Part& part, std::uint32_t samples) {
  const std::uint64_t before = samples_;
  samples_ += samples;
  for (auto& [type, kind] : kinds_) {
    const auto found = part.defaults.find(type);
    const std::uint32_t index = found != part.defaults.end() ? found->second : 0;
    // The default takes in samples that no table speaks of: here they need one that does.
    if (index != 0 && kind.runs.empty()) kind.runs[std::nullopt];
    for (auto& [parameter, runs] : kind.runs) {
      if (runs.samples < before) runs.Append(before - runs.samples, 0);
      runs.Append(samples_ - runs.samples, index);
    }
  }
}

void SampleGroups::Write(RawBox& table) const {
  table.Remove(FourCc("sgpd"));
  table.Remove(FourCc("sbgp"));
  table.Remove(FourCc("csgp"));
  for (const auto& [type, kind] : kinds_) {
    // Until another description joins, the box stays as it is, be it of a kind that can't be split.
    const bool isAsRead = kind.asRead.type != 0;
    table.children.push_back(isAsRead ? kind.asRead : DescriptionsBox(type, kind.descriptions));
    for (const auto& [parameter, runs] : kind.runs) {
      if (runs.IsAny()) table.children.push_back(GroupBox(type, parameter, runs.entries));
    }
  }
}

}  // namespace clipchain
