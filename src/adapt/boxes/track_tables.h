// Reads the sample tables of a track off their boxes and makes the boxes of them (ISO/IEC 14496-12,
// 8.6 and 8.7).
//
// A function that reads gives nothing where the box is no such table: an unknown version, fewer
// bytes than its count needs, numbers that contradict each other. Bytes behind a table are passed
// over. Memory is bounded by the bytes of the box; the numbers inside an entry, the count of a run
// or of samples of one size, are bounded by nothing, so never loop over them unasked.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// "stts": that many samples, each so long.
struct TimeRun {
  std::uint32_t count = 0;
  std::uint32_t delta = 0;
  bool operator==(const TimeRun&) const = default;
};
using TimeRuns = std::vector<TimeRun>;

// "ctts": that many samples, each shown so much later than it is decoded. Version 0 counts
// unsigned, version 1 signed.
struct OffsetRun {
  std::uint32_t count = 0;
  std::int64_t offset = 0;
  bool operator==(const OffsetRun&) const = default;
};
using OffsetRuns = std::vector<OffsetRun>;

// "stsz" and "stz2": the size that all samples have or, where that is 0, one for each.
struct SampleSizes {
  std::uint32_t uniform = 0;
  std::uint32_t count = 0;
  std::vector<std::uint32_t> sizes;

  // The size of a sample that is there, counted from 0.
  std::uint32_t At(std::uint32_t index) const { return uniform != 0 ? uniform : sizes[index]; }
  // The bytes of them all.
  std::uint64_t Sum() const;
  bool operator==(const SampleSizes&) const = default;
};

// "stsc": from that chunk on, counted from 1, so many samples in each chunk, described by that
// entry of "stsd", counted from 1.
struct ChunkRun {
  std::uint32_t firstChunk = 0;
  std::uint32_t samplesPerChunk = 0;
  std::uint32_t description = 0;
  bool operator==(const ChunkRun&) const = default;
};
using ChunkRuns = std::vector<ChunkRun>;

// One part of "elst". A media time of -1 shows nothing. The rate is 16 bits before and 16 behind
// the point.
struct Edit {
  std::uint64_t duration = 0;
  std::int64_t mediaTime = 0;
  std::uint32_t rate = 0x10000;
  bool operator==(const Edit&) const = default;
};
using Edits = std::vector<Edit>;

std::optional<TimeRuns> ReadTimes(const RawBox& stts);
std::optional<OffsetRuns> ReadOffsets(const RawBox& ctts);
// Either form, by the type of the box.
std::optional<SampleSizes> ReadSizes(const RawBox& stszOrStz2);
// The same of "stsz", without the sizes of a table.
std::optional<SampleSizes> ReadSizesHead(const RawBox& stsz);
// Chunks that do not rise from 1 are no such table, nor is a description 0.
std::optional<ChunkRuns> ReadChunkRuns(const RawBox& stsc);
// Either form, by the type of the box.
std::optional<std::vector<std::uint64_t>> ReadChunkOffsets(const RawBox& stcoOrCo64);
// "stss" and "stps": numbers of samples, counted from 1. Numbers that do not rise are no such
// table.
std::optional<std::vector<std::uint32_t>> ReadSampleNumbers(const RawBox& box);
// One byte for each sample (8.6.4), which other tables count. Lent by the box.
std::optional<std::span<const unsigned char>> ReadDependencies(const RawBox& sdtp);
std::optional<Edits> ReadEdits(const RawBox& elst);

RawBox TimesBox(const TimeRuns& runs);
// Version 1 where an offset is negative. Nothing: an offset that the version cannot say.
std::optional<RawBox> OffsetsBox(const OffsetRuns& runs);
// Always "stsz".
RawBox SizesBox(const SampleSizes& sizes);
RawBox ChunkRunsBox(const ChunkRuns& runs);
// "stco" where all offsets fit, else "co64".
RawBox ChunkOffsetsBox(const std::vector<std::uint64_t>& offsets);
RawBox SampleNumbersBox(unsigned int type, const std::vector<std::uint32_t>& numbers);
RawBox DependenciesBox(std::span<const unsigned char> dependencies);
// Version 1 where a number needs it.
RawBox EditsBox(const Edits& edits);

// Append to the last run where that says the same, else as a run of its own. A count beyond 32 bits
// takes several.
void AppendTime(TimeRuns& runs, std::uint64_t count, std::uint32_t delta);
void AppendOffset(OffsetRuns& runs, std::uint64_t count, std::int64_t offset);
// Appends a chunk, which is the `chunk`-th, counted from 1.
void AppendChunk(ChunkRuns& runs, std::uint32_t chunk, std::uint32_t samples,
                 std::uint32_t description);

// How many samples the runs speak of, and how long they are together. No sum exceeds 64 bits: each
// count and delta has 32, and the box has fewer than 2^32 of them.
std::uint64_t SampleCount(const TimeRuns& runs);
std::uint64_t SampleCount(const OffsetRuns& runs);
// Nothing: beyond 64 bits.
std::optional<std::uint64_t> MediaDuration(const TimeRuns& runs);
// How many samples that many chunks hold.
std::optional<std::uint64_t> SampleCount(const ChunkRuns& runs, std::uint64_t chunks);

}  // namespace clipchain
