#include "workflow/sample_tables.h"

#include <limits>

#include "reader/typed_views.h"

namespace clipchain {

namespace {

template <class Entries>
std::uint64_t CountedBy(const Entries& entries) {
  std::uint64_t sum = 0;
  for (const auto& entry : entries) sum += entry.sampleCount;
  return sum;
}

}  // namespace

SampleTables::SampleTables(MP4G::CTrackBox* track) {
  MP4G::CSampleTableBox* box = MP4G::CTrackBox_wr(track).SampleTableBox();
  const MP4G::CSampleTableBox_wr view(box);
  table = box;
  times = view.TimeToSampleBox();
  offsets = view.CompositionOffsetBox();
  sizes = view.SampleSizeBox();
  compactSizes = view.CompactSampleSizeBox();
  chunkRuns = view.SampleToChunkBox();
  chunks = view.ChunkOffsetBox();
  largeChunks = view.ChunkLargeOffsetBox();
  syncSamples = view.SyncSampleBox();
  dependencies = view.SampleDependencyTypeBox();
  descriptions = view.SampleDescriptionBox();
  if (sizes != nullptr) {
    samples_ = sizes->record->sampleSize != 0
                   ? static_cast<std::uint64_t>(sizes->record->sampleCount)
                   : sizes->entries.size();
  } else if (compactSizes != nullptr) {
    samples_ = compactSizes->entries.size();
  }
}

std::uint64_t SampleTables::Chunks() const {
  if (chunks != nullptr) return chunks->entries.size();
  return largeChunks != nullptr ? largeChunks->entries.size() : 0;
}

std::uint64_t SampleTables::OffsetOfChunk(std::uint64_t chunk) const {
  const auto index = static_cast<std::size_t>(chunk);
  if (chunks != nullptr) return chunks->entries[index];
  return largeChunks->entries[index];
}

std::uint64_t SampleTables::SizeOf(std::uint64_t sample) const {
  if (sample >= samples_) return 0;
  const auto index = static_cast<std::size_t>(sample);
  if (sizes == nullptr) return compactSizes->entries[index];
  const std::uint32_t common = sizes->record->sampleSize;
  return common != 0 ? common : sizes->entries[index];
}

std::uint64_t SampleTables::SizeOfRun(std::uint64_t first, std::uint64_t count) const {
  // A common size times a count of 32 bits fits.
  if (sizes != nullptr && sizes->record->sampleSize != 0)
    return std::uint64_t{sizes->record->sampleSize} * count;
  std::uint64_t sum = 0;
  for (std::uint64_t i = first; i < first + count; ++i) sum += SizeOf(i);
  return sum;
}

std::uint64_t SampleTables::SamplesInChunk(std::uint64_t chunk, std::size_t& run) const {
  if (chunkRuns == nullptr || chunkRuns->entries.empty()) return 0;
  const auto& entries = chunkRuns->entries;
  const std::uint64_t number = chunk + 1;
  while (run + 1 < entries.size() && entries[run + 1].firstChunk <= number) ++run;
  return entries[run].firstChunk <= number
             ? static_cast<std::uint64_t>(entries[run].samplesPerChunk)
             : 0;
}

std::uint64_t SampleTables::Duration() const {
  if (times == nullptr) return 0;
  std::uint64_t sum = 0;
  for (const auto& entry : times->entries)
    sum += std::uint64_t{entry.sampleCount} * entry.sampleDelta;
  return sum;
}

std::uint64_t SampleTables::SamplesWithDuration() const {
  return times != nullptr ? CountedBy(times->entries) : 0;
}

std::uint64_t SampleTables::SamplesWithOffset() const {
  return offsets != nullptr ? CountedBy(offsets->entries) : 0;
}

}  // namespace clipchain
