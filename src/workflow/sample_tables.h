// One track's tables as a reader of the format follows them: where each sample lies, how large it
// is, how long it lasts.
#pragma once

#include <algorithm>
#include <cstdint>

#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"

namespace clipchain {

// Samples of one chunk that lie one behind the other. Numbers count from 0.
struct ChunkExtent {
  std::uint64_t chunk;
  std::uint64_t firstSample;
  std::uint64_t samples;  // as the tables claim; those that have no size are not counted
  std::uint64_t offset;   // in the file
  std::uint64_t bytes;  // of all its samples; stays at the largest number where it would exceed it
};

// A view that must not outlive the boxes. A missing table counts as an empty one. Nothing here
// takes longer than the tables have entries, whatever the numbers in them say.
class SampleTables {
 public:
  explicit SampleTables(MP4G::CTrackBox* track);

  std::uint64_t Samples() const { return samples_; }
  std::uint64_t Chunks() const;
  // 0 behind the last sample.
  std::uint64_t SizeOf(std::uint64_t sample) const;
  std::uint64_t OffsetOfChunk(std::uint64_t chunk) const;
  // The sum of all durations, and how many samples "stts" and "ctts" speak of.
  std::uint64_t Duration() const;
  std::uint64_t SamplesWithDuration() const;
  std::uint64_t SamplesWithOffset() const;

  // Calls use(ChunkExtent) for each chunk in the order of the table and answers how many samples
  // the chunks are said to hold, be there sizes for them or not.
  template <class Use>
  std::uint64_t ForEachChunk(Use use) const {
    std::uint64_t held = 0;
    std::size_t run = 0;
    for (std::uint64_t chunk = 0; chunk < Chunks(); ++chunk) {
      const std::uint64_t samples = SamplesInChunk(chunk, run);
      const std::uint64_t first = std::min(held, samples_);
      const std::uint64_t sized = std::min(samples, samples_ - first);
      use(ChunkExtent{chunk, first, sized, OffsetOfChunk(chunk), SizeOfRun(first, sized)});
      held += samples;
    }
    return held;
  }

  // Null where the box is missing.
  const MP4G::CSampleTableBox* table = nullptr;
  const MP4G::CTimeToSampleBox* times = nullptr;
  const MP4G::CCompositionOffsetBox* offsets = nullptr;
  const MP4G::CSampleSizeBox* sizes = nullptr;
  const MP4G::CCompactSampleSizeBox* compactSizes = nullptr;
  const MP4G::CSampleToChunkBox* chunkRuns = nullptr;
  const MP4G::CChunkOffsetBox* chunks = nullptr;
  const MP4G::CChunkLargeOffsetBox* largeChunks = nullptr;
  const MP4G::CSyncSampleBox* syncSamples = nullptr;
  const MP4G::CSampleDependencyTypeBox* dependencies = nullptr;
  const MP4G::CSampleDescriptionBox* descriptions = nullptr;

 private:
  // `run` is the entry of "stsc" that the chunk before belonged to, and moves on.
  std::uint64_t SamplesInChunk(std::uint64_t chunk, std::size_t& run) const;
  std::uint64_t SizeOfRun(std::uint64_t first, std::uint64_t count) const;

  std::uint64_t samples_ = 0;
};

}  // namespace clipchain
