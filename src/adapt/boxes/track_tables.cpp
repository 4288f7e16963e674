#include "adapt/boxes/track_tables.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;
using QUIRVA::be64;

constexpr std::uint64_t kMost32Bits = 0xFFFFFFFF;

struct Pair {
  be32 first;
  be32 second;
};

struct Triple {
  be32 first;
  be32 second;
  be32 third;
};

struct ShortEdit {
  be32 duration;
  be32 mediaTime;
  be32 rate;
};

struct LargeEdit {
  be64 duration;
  be64 mediaTime;
  be32 rate;
};

template <typename Field>
constexpr auto kValue = [](const Field& field) -> typename Field::Value { return field; };

template <typename Field>
constexpr auto kField = [](auto value) {
  Field field;
  field = static_cast<typename Field::Value>(value);
  return field;
};

// Takes the version of a box and passes over its flags. False: too few bytes or a version above.
bool TakeVersion(std::span<const unsigned char>& in, unsigned int most, unsigned int& version) {
  be32 versionAndFlags;
  if (!TakeField(in, versionAndFlags)) return false;
  version = versionAndFlags >> 24;
  // In a version that nobody knows yet fields may stand anywhere.
  return version <= most;
}

// The table of a box that is a count and so many records.
template <typename Record, typename Entry, typename Decode>
std::optional<std::vector<Entry>> ReadTable(std::span<const unsigned char> in, Decode decode) {
  std::vector<Entry> table;
  be32 count;
  if (!TakeField(in, count) || !TakeTable<Record>(in, count, table, decode)) return std::nullopt;
  return table;
}

// The same where only version 0 is defined.
template <typename Record, typename Entry, typename Decode>
std::optional<std::vector<Entry>> ReadPlainTable(const RawBox& box, Decode decode) {
  std::span<const unsigned char> in = box.data;
  unsigned int version = 0;
  if (!TakeVersion(in, 0, version)) return std::nullopt;
  return ReadTable<Record, Entry>(in, decode);
}

template <typename Entry, typename Encode>
RawBox TableBox(unsigned int type, std::uint8_t version, const std::vector<Entry>& table,
                Encode encode) {
  RawBox box;
  box.type = type;
  PutField<be32>(box.data, std::uint32_t{version} << 24);
  PutField<be32>(box.data, static_cast<std::uint32_t>(table.size()));
  PutTable(box.data, table, encode);
  return box;
}

// The high half of a byte comes first (8.7.3.3).
void TakeHalfBytes(std::span<const unsigned char> in, SampleSizes& sizes) {
  sizes.sizes.resize(sizes.count);
  for (std::uint32_t i = 0; i < sizes.count; ++i) {
    sizes.sizes[i] = i % 2 == 0 ? in[i / 2] >> 4 : in[i / 2] & 15;
  }
}

// What stands ahead of the sizes: one for all of them or, in "stz2", how many bits each has.
bool TakeSizesHead(std::span<const unsigned char>& in, std::uint32_t& form, std::uint32_t& count) {
  unsigned int version = 0;
  be32 formField;
  be32 countField;
  if (!TakeVersion(in, 0, version) || !TakeField(in, formField) || !TakeField(in, countField))
    return false;
  form = formField;
  count = countField;
  return true;
}

bool TakeCompactSizes(std::span<const unsigned char> in, unsigned int bits, SampleSizes& sizes) {
  switch (bits) {
    case 4:
      if ((std::uint64_t{sizes.count} + 1) / 2 > in.size()) return false;
      TakeHalfBytes(in, sizes);
      return true;
    case 8:
      if (sizes.count > in.size()) return false;
      sizes.sizes.assign(in.begin(), in.begin() + sizes.count);
      return true;
    case 16:
      return TakeTable<be16>(in, sizes.count, sizes.sizes, kValue<be16>);
    default:
      return false;
  }
}

// Samples are counted from 1 and named once, in their order (8.6.2.1).
bool Rise(const std::vector<std::uint32_t>& numbers) {
  return std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()) ==
             numbers.end() &&
         (numbers.empty() || numbers.front() != 0);
}

template <typename Run, typename Value>
void AppendRun(std::vector<Run>& runs, std::uint64_t count, Value Run::*member, Value value) {
  if (!runs.empty() && runs.back().*member == value) {
    // A run counts with 32 bits, and clips together may have more samples of one length.
    const std::uint64_t more = std::min(count, kMost32Bits - runs.back().count);
    runs.back().count += static_cast<std::uint32_t>(more);
    count -= more;
  }
  while (count > 0) {
    Run run;
    run.count = static_cast<std::uint32_t>(std::min(count, kMost32Bits));
    run.*member = value;
    runs.push_back(run);
    count -= run.count;
  }
}

template <typename Run>
std::uint64_t CountIn(const std::vector<Run>& runs) {
  return std::accumulate(runs.begin(), runs.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const Run& run) { return sum + run.count; });
}

}  // namespace

std::uint64_t SampleSizes::Sum() const {
  if (uniform != 0) return std::uint64_t{uniform} * count;
  return std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0});
}

std::optional<TimeRuns> ReadTimes(const RawBox& stts) {
  return ReadPlainTable<Pair, TimeRun>(stts, [](const Pair& pair) {
    return TimeRun{pair.first, pair.second};
  });
}

std::optional<OffsetRuns> ReadOffsets(const RawBox& ctts) {
  std::span<const unsigned char> in = ctts.data;
  unsigned int version = 0;
  if (!TakeVersion(in, 1, version)) return std::nullopt;
  if (version == 0) {
    return ReadTable<Pair, OffsetRun>(in, [](const Pair& pair) {
      return OffsetRun{pair.first, std::int64_t{pair.second}};
    });
  }
  return ReadTable<Pair, OffsetRun>(in, [](const Pair& pair) {
    return OffsetRun{pair.first, static_cast<std::int32_t>(std::uint32_t{pair.second})};
  });
}

std::optional<SampleSizes> ReadSizesHead(const RawBox& stsz) {
  std::span<const unsigned char> in = stsz.data;
  SampleSizes head;
  if (!TakeSizesHead(in, head.uniform, head.count)) return std::nullopt;
  if (head.uniform == 0 && head.count > in.size() / sizeof(be32)) return std::nullopt;
  return head;
}

std::optional<SampleSizes> ReadSizes(const RawBox& stszOrStz2) {
  std::span<const unsigned char> in = stszOrStz2.data;
  SampleSizes sizes;
  if (!TakeSizesHead(in, sizes.uniform, sizes.count)) return std::nullopt;
  if (stszOrStz2.type == FourCc("stz2")) {
    // The low byte is the number of bits; those above are reserved.
    const unsigned int bits = std::exchange(sizes.uniform, 0) & 0xFF;
    if (!TakeCompactSizes(in, bits, sizes)) return std::nullopt;
    return sizes;
  }
  if (sizes.uniform == 0 && !TakeTable<be32>(in, sizes.count, sizes.sizes, kValue<be32>))
    return std::nullopt;
  return sizes;
}

std::optional<ChunkRuns> ReadChunkRuns(const RawBox& stsc) {
  auto runs = ReadPlainTable<Triple, ChunkRun>(stsc, [](const Triple& triple) {
    return ChunkRun{triple.first, triple.second, triple.third};
  });
  if (!runs) return std::nullopt;
  std::uint64_t next = 1;
  for (const ChunkRun& run : *runs) {
    // The first run begins with chunk 1, or nobody knows what the chunks ahead of it hold (8.7.4).
    const bool isInPlace = next == 1 ? run.firstChunk == 1 : run.firstChunk >= next;
    if (!isInPlace || run.description == 0) return std::nullopt;
    next = std::uint64_t{run.firstChunk} + 1;
  }
  return runs;
}

std::optional<std::vector<std::uint64_t>> ReadChunkOffsets(const RawBox& stcoOrCo64) {
  if (stcoOrCo64.type == FourCc("co64")) {
    return ReadPlainTable<be64, std::uint64_t>(stcoOrCo64, kValue<be64>);
  }
  return ReadPlainTable<be32, std::uint64_t>(stcoOrCo64, kValue<be32>);
}

std::optional<std::vector<std::uint32_t>> ReadSampleNumbers(const RawBox& box) {
  auto numbers = ReadPlainTable<be32, std::uint32_t>(box, kValue<be32>);
  if (numbers && !Rise(*numbers)) numbers.reset();
  return numbers;
}

std::optional<std::span<const unsigned char>> ReadDependencies(const RawBox& sdtp) {
  std::span<const unsigned char> in = sdtp.data;
  unsigned int version = 0;
  if (!TakeVersion(in, 0, version)) return std::nullopt;
  return in;
}

std::optional<Edits> ReadEdits(const RawBox& elst) {
  std::span<const unsigned char> in = elst.data;
  unsigned int version = 0;
  if (!TakeVersion(in, 1, version)) return std::nullopt;
  if (version == 0) {
    return ReadTable<ShortEdit, Edit>(in, [](const ShortEdit& edit) {
      return Edit{edit.duration, static_cast<std::int32_t>(std::uint32_t{edit.mediaTime}),
                  edit.rate};
    });
  }
  return ReadTable<LargeEdit, Edit>(in, [](const LargeEdit& edit) {
    return Edit{edit.duration, static_cast<std::int64_t>(std::uint64_t{edit.mediaTime}), edit.rate};
  });
}

RawBox TimesBox(const TimeRuns& runs) {
  return TableBox(FourCc("stts"), 0, runs, [](const TimeRun& run) {
    return Pair{kField<be32>(run.count), kField<be32>(run.delta)};
  });
}

std::optional<RawBox> OffsetsBox(const OffsetRuns& runs) {
  std::int64_t least = 0;
  std::int64_t most = 0;
  for (const OffsetRun& run : runs) {
    least = std::min(least, run.offset);
    most = std::max(most, run.offset);
  }
  const bool isSigned = least < 0;
  // Version 1 has a sign and so reaches half as far (8.6.1.3).
  const std::int64_t top = isSigned ? std::numeric_limits<std::int32_t>::max()
                                    : std::int64_t{std::numeric_limits<std::uint32_t>::max()};
  if (least < std::numeric_limits<std::int32_t>::min() || most > top) return std::nullopt;
  return TableBox(FourCc("ctts"), isSigned ? 1 : 0, runs, [](const OffsetRun& run) {
    return Pair{kField<be32>(run.count), kField<be32>(run.offset)};
  });
}

RawBox SizesBox(const SampleSizes& sizes) {
  RawBox box;
  box.type = FourCc("stsz");
  PutField<be32>(box.data, 0);
  PutField<be32>(box.data, sizes.uniform);
  PutField<be32>(box.data, sizes.count);
  if (sizes.uniform == 0) PutTable(box.data, sizes.sizes, kField<be32>);
  return box;
}

RawBox ChunkRunsBox(const ChunkRuns& runs) {
  return TableBox(FourCc("stsc"), 0, runs, [](const ChunkRun& run) {
    return Triple{kField<be32>(run.firstChunk), kField<be32>(run.samplesPerChunk),
                  kField<be32>(run.description)};
  });
}

RawBox ChunkOffsetsBox(const std::vector<std::uint64_t>& offsets) {
  const auto most = std::max_element(offsets.begin(), offsets.end());
  // Players read either; the narrow form takes half the room.
  if (most == offsets.end() || *most <= kMost32Bits) {
    return TableBox(FourCc("stco"), 0, offsets, kField<be32>);
  }
  return TableBox(FourCc("co64"), 0, offsets, kField<be64>);
}

RawBox SampleNumbersBox(unsigned int type, const std::vector<std::uint32_t>& numbers) {
  return TableBox(type, 0, numbers, kField<be32>);
}

RawBox DependenciesBox(std::span<const unsigned char> dependencies) {
  RawBox box(FourCc("sdtp"), Bytes(sizeof(be32) + dependencies.size()));
  std::copy(dependencies.begin(), dependencies.end(), box.data.begin() + sizeof(be32));
  return box;
}

RawBox EditsBox(const Edits& edits) {
  const bool areShort = std::all_of(edits.begin(), edits.end(), [](const Edit& edit) {
    return edit.duration <= kMost32Bits &&
           edit.mediaTime == static_cast<std::int32_t>(edit.mediaTime);
  });
  if (areShort) {
    return TableBox(FourCc("elst"), 0, edits, [](const Edit& edit) {
      return ShortEdit{kField<be32>(edit.duration), kField<be32>(edit.mediaTime),
                       kField<be32>(edit.rate)};
    });
  }
  return TableBox(FourCc("elst"), 1, edits, [](const Edit& edit) {
    return LargeEdit{kField<be64>(edit.duration), kField<be64>(edit.mediaTime),
                     kField<be32>(edit.rate)};
  });
}

void AppendTime(TimeRuns& runs, std::uint64_t count, std::uint32_t delta) {
  AppendRun(runs, count, &TimeRun::delta, delta);
}

void AppendOffset(OffsetRuns& runs, std::uint64_t count, std::int64_t offset) {
  AppendRun(runs, count, &OffsetRun::offset, offset);
}

void AppendChunk(ChunkRuns& runs, std::uint32_t chunk, std::uint32_t samples,
                 std::uint32_t description) {
  // An entry stands where chunks change, and goes on until the next one (8.7.4.1).
  if (!runs.empty() && runs.back().samplesPerChunk == samples &&
      runs.back().description == description) {
    return;
  }
  runs.push_back({chunk, samples, description});
}

std::uint64_t SampleCount(const TimeRuns& runs) { return CountIn(runs); }

std::uint64_t SampleCount(const OffsetRuns& runs) { return CountIn(runs); }

std::optional<std::uint64_t> MediaDuration(const TimeRuns& runs) {
  std::uint64_t sum = 0;
  for (const TimeRun& run : runs) {
    if (__builtin_add_overflow(sum, std::uint64_t{run.count} * run.delta, &sum)) {
      return std::nullopt;
    }
  }
  return sum;
}

std::optional<std::uint64_t> SampleCount(const ChunkRuns& runs, std::uint64_t chunks) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const std::uint64_t end = i + 1 < runs.size() ? runs[i + 1].firstChunk : chunks + 1;
    // A run that begins behind the last chunk has none.
    if (end <= runs[i].firstChunk) return std::nullopt;
    const std::uint64_t held = end - runs[i].firstChunk;
    std::uint64_t more = 0;
    if (__builtin_mul_overflow(held, std::uint64_t{runs[i].samplesPerChunk}, &more) ||
        __builtin_add_overflow(sum, more, &sum)) {
      return std::nullopt;
    }
  }
  return sum;
}

}  // namespace clipchain
