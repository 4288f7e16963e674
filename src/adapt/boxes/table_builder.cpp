#include "adapt/boxes/table_builder.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kTablesDisagree = "tables disagree about how many samples there are";

// Sample flags (8.8.3.1).
constexpr std::uint32_t kIsNoSync = 0x10000;
constexpr std::uint32_t kDependencies = 0x0FF00000;
constexpr unsigned int kDependencyShift = 20;
constexpr std::uint32_t kPaddingAndPriority = 0x000EFFFF;

// A table that spells each sample has no more of them.
constexpr std::uint32_t kMostSpelled = 1U << 28;
constexpr std::uint64_t kMost32Bits = 0xFFFFFFFF;
// Leaves room for offsets on either side.
constexpr std::uint64_t kLatest = 1ULL << 62;

// The box of either type; null without one.
const RawBox* EitherChild(const RawBox& parent, unsigned int type, unsigned int other) {
  const RawBox* child = parent.Child(type);
  return child != nullptr ? child : parent.Child(other);
}

// What a box holds by `read`; nothing without a box.
template <typename Read>
auto ReadChild(const RawBox* box, Read read) -> decltype(read(*box)) {
  return box != nullptr ? read(*box) : std::nullopt;
}

}  // namespace

void ReplaceChild(RawBox& parent, RawBox child) {
  RawBox* old = parent.Child(child.type);
  if (old == nullptr) {
    parent.children.push_back(std::move(child));
    return;
  }
  *old = std::move(child);
}

Reason TableBuilder::TakeTables(const RawBox& table) {
  auto sizes = ReadChild(EitherChild(table, FourCc("stsz"), FourCc("stz2")), ReadSizes);
  if (!sizes) return "table of sample sizes can't be read";
  auto times = ReadChild(table.Child(FourCc("stts")), ReadTimes);
  auto chunkRuns = ReadChild(table.Child(FourCc("stsc")), ReadChunkRuns);
  auto chunks = ReadChild(EitherChild(table, FourCc("stco"), FourCc("co64")), ReadChunkOffsets);
  if (sizes->count == 0) {
    // Where all samples are in fragments the other tables may say nothing, or be missing.
    const bool areThere = times && chunkRuns && chunks && SampleCount(*times) != 0 &&
                          SampleCount(*chunkRuns, chunks->size()).value_or(1) != 0;
    return areThere ? Reason(kTablesDisagree) : std::nullopt;
  }
  const RawBox* offsetBox = table.Child(FourCc("ctts"));
  // Without a "ctts" samples are shown when they are decoded (8.6.1.3).
  std::optional<OffsetRuns> offsets = OffsetRuns{{sizes->count, 0}};
  if (offsetBox != nullptr) offsets = ReadOffsets(*offsetBox);
  if (!times || !chunkRuns || !chunks || !offsets) return "tables of times or chunks can't be read";
  const auto end = MediaDuration(*times);
  if (!end || *end > kLatest || SampleCount(*times) != sizes->count ||
      SampleCount(*offsets) != sizes->count ||
      SampleCount(*chunkRuns, chunks->size()) != sizes->count)
    return kTablesDisagree;
  // Runs of no sample occur, and who walks through times relies on there being none.
  std::erase_if(*times, [](const TimeRun& run) { return run.count == 0; });
  std::erase_if(*offsets, [](const OffsetRun& run) { return run.count == 0; });
  times_ = std::move(*times);
  offsets_ = std::move(*offsets);
  sizes_ = std::move(*sizes);
  chunkRuns_ = std::move(*chunkRuns);
  chunks_ = std::move(*chunks);
  end_ = *end;
  return TakeFlags(table);
}

Reason TableBuilder::TakeFlags(const RawBox& table) {
  const RawBox* syncBox = table.Child(FourCc("stss"));
  if (syncBox == nullptr) {
    // All are sync samples (8.6.2.1).
    AppendFlags(sizes_.count, 0);
  } else {
    const auto sync = ReadSampleNumbers(*syncBox);
    if (!sync || (!sync->empty() && sync->back() > sizes_.count))
      return "table of sync samples can't be read, or speaks of samples that are not there";
    std::uint32_t next = 1;
    for (const std::uint32_t number : *sync) {
      AppendFlags(number - next, kIsNoSync);
      AppendFlags(1, 0);
      next = number + 1;
    }
    AppendFlags(static_cast<std::uint32_t>(std::uint64_t{sizes_.count} + 1 - next), kIsNoSync);
  }
  const RawBox* dependencyBox = table.Child(FourCc("sdtp"));
  if (dependencyBox == nullptr) return std::nullopt;
  const auto dependencies = ReadDependencies(*dependencyBox);
  if (!dependencies || dependencies->size() < sizes_.count)
    return "table of sample dependencies is too short";
  SetDependencies(dependencies->first(sizes_.count));
  return std::nullopt;
}

bool TableBuilder::AppendRun(const FragmentRun& run, std::uint64_t position,
                             std::uint32_t description) {
  bool appended = true;
  run.ForEach([&](std::uint32_t count, const FragmentSample& sample) {
    appended = appended && Append(count, sample);
  });
  if (!appended) return false;
  if (run.Count() == 0) return true;
  chunks_.push_back(position);
  AppendChunk(chunkRuns_, static_cast<std::uint32_t>(chunks_.size()), run.Count(), description);
  return true;
}

bool TableBuilder::Append(std::uint32_t count, const FragmentSample& sample) {
  const bool isUniform =
      sizes_.count == 0 || (sizes_.uniform != 0 && sizes_.uniform == sample.size);
  const std::uint64_t most = isUniform ? kMost32Bits : kMostSpelled;
  std::uint64_t end = 0;
  if (std::uint64_t{sizes_.count} + count > most ||
      __builtin_add_overflow(end_, std::uint64_t{count} * sample.duration, &end) || end > kLatest) {
    return false;
  }
  AppendSizes(count, sample.size);
  AppendTime(times_, count, sample.duration);
  AppendOffset(offsets_, count, sample.offset);
  AppendFlags(count, sample.flags);
  end_ = end;
  return true;
}

// All of one size need no table; a size of 0 says that there is one (8.7.3.2).
void TableBuilder::AppendSizes(std::uint32_t count, std::uint32_t size) {
  if (sizes_.count == 0) sizes_.uniform = size;
  if (sizes_.uniform != 0 && sizes_.uniform != size) {
    sizes_.sizes.assign(sizes_.count, sizes_.uniform);
    sizes_.uniform = 0;
  }
  sizes_.count += count;
  if (sizes_.uniform == 0) sizes_.sizes.insert(sizes_.sizes.end(), count, size);
}

void TableBuilder::AppendFlags(std::uint32_t count, std::uint32_t flags) {
  if (count == 0) return;
  if (!flags_.empty() && flags_.back().flags == flags) {
    flags_.back().count += count;
  } else {
    flags_.push_back({count, flags});
  }
}

void TableBuilder::SetDependencies(std::span<const unsigned char> bytes) {
  // What is told of the last samples, already appended, comes from a box of its own.
  std::vector<FlagRun> last;
  std::size_t rest = bytes.size();
  while (rest > 0 && !flags_.empty()) {
    FlagRun& run = flags_.back();
    const auto taken = static_cast<std::uint32_t>(std::min<std::size_t>(run.count, rest));
    last.push_back({taken, run.flags});
    run.count -= taken;
    if (run.count == 0) flags_.pop_back();
    rest -= taken;
  }
  auto in = bytes.subspan(rest);
  for (auto run = last.rbegin(); run != last.rend(); ++run) {
    for (const std::uint32_t byte : in.first(run->count)) {
      AppendFlags(1, (run->flags & ~kDependencies) | byte << kDependencyShift);
    }
    in = in.subspan(run->count);
  }
}

bool TableBuilder::MoveTo(std::uint64_t time) {
  if (time == end_) return true;
  if (times_.empty()) return false;
  TimeRun& last = times_.back();
  // The sample before lasts until the time that a fragment says it begins at.
  const std::uint64_t begin = end_ - last.delta;
  if (time < begin || time - begin > kMost32Bits) return false;
  if (--last.count == 0) times_.pop_back();
  AppendTime(times_, 1, static_cast<std::uint32_t>(time - begin));
  end_ = time;
  return true;
}

// Calls visit(time, count, delta, offset) for samples that last as long and are shown as much
// later.
template <typename Visit>
void TableBuilder::ForEachTime(Visit visit) const {
  auto offset = offsets_.begin();
  std::uint32_t used = 0;
  std::int64_t time = 0;
  for (const TimeRun& run : times_) {
    for (std::uint32_t done = 0; done < run.count;) {
      if (offset->count == used) {
        ++offset;
        used = 0;
      }
      const std::uint32_t count = std::min(run.count - done, offset->count - used);
      visit(time, count, run.delta, offset->offset);
      time += std::int64_t{run.delta} * count;
      done += count;
      used += count;
    }
  }
}

std::int64_t TableBuilder::FirstShown() const {
  std::int64_t first = std::numeric_limits<std::int64_t>::max();
  ForEachTime([&](std::int64_t time, std::uint32_t, std::uint32_t, std::int64_t offset) {
    first = std::min(first, time + offset);
  });
  return sizes_.count != 0 ? first : 0;
}

std::int64_t TableBuilder::LastShown() const {
  std::int64_t last = 0;
  ForEachTime(
      [&](std::int64_t time, std::uint32_t count, std::uint32_t delta, std::int64_t offset) {
        last = std::max(last, time + std::int64_t{delta} * count + offset);
      });
  return last;
}

bool TableBuilder::IsAny(std::uint32_t mask) const {
  return std::any_of(flags_.begin(), flags_.end(),
                     [=](const FlagRun& run) { return (run.flags & mask) != 0; });
}

bool TableBuilder::HasUntoldFlags() const { return IsAny(kPaddingAndPriority); }

std::vector<std::uint32_t> TableBuilder::SyncSamples() const {
  std::vector<std::uint32_t> numbers;
  std::uint32_t next = 1;
  for (const FlagRun& run : flags_) {
    if ((run.flags & kIsNoSync) == 0) {
      for (std::uint32_t i = 0; i < run.count; ++i) numbers.push_back(next + i);
    }
    next += run.count;
  }
  return numbers;
}

Bytes TableBuilder::Dependencies() const {
  Bytes bytes;
  for (const FlagRun& run : flags_) {
    bytes.insert(bytes.end(), run.count,
                 static_cast<unsigned char>((run.flags & kDependencies) >> kDependencyShift));
  }
  return bytes;
}

bool TableBuilder::Write(RawBox& table) const {
  const bool isSpelled = IsAny(kIsNoSync) || IsAny(kDependencies);
  if (isSpelled && sizes_.count > kMostSpelled) return false;
  const bool isShifted = std::any_of(offsets_.begin(), offsets_.end(),
                                     [](const OffsetRun& run) { return run.offset != 0; });
  std::optional<RawBox> offsets;
  if (isShifted) {
    offsets = OffsetsBox(offsets_);
    if (!offsets) return false;
  }
  RawBox chunks = ChunkOffsetsBox(chunks_);
  // A track has one table of sizes, and one of offsets (8.7.3.1, 8.7.5.1).
  for (const unsigned int type :
       {FourCc("stz2"), chunks.type == FourCc("stco") ? FourCc("co64") : FourCc("stco")}) {
    table.Remove(type);
  }
  ReplaceChild(table, TimesBox(times_));
  if (offsets) ReplaceChild(table, std::move(*offsets));
  if (!isShifted) table.Remove(FourCc("ctts"));
  ReplaceChild(table, ChunkRunsBox(chunkRuns_));
  ReplaceChild(table, SizesBox(sizes_));
  ReplaceChild(table, std::move(chunks));
  table.Remove(FourCc("stss"));
  if (IsAny(kIsNoSync)) table.children.push_back(SampleNumbersBox(FourCc("stss"), SyncSamples()));
  table.Remove(FourCc("sdtp"));
  if (IsAny(kDependencies)) table.children.push_back(DependenciesBox(Dependencies()));
  return true;
}

}  // namespace clipchain
