#include "workflow/boxes/sample_layout.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "box/header_boxes.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr Number kLargest = std::numeric_limits<Number>::max();

template <class Box>
Number EntriesOf(const Box* box) {
  return box != nullptr ? box->entries.size() : 0;
}

}  // namespace

SampleLayout::SampleLayout(MP4G::CSampleTableBox* table) {
  const MP4G::CSampleTableBox_wr boxes(table);
  sizes_ = boxes.SampleSizeBox();
  compactSizes_ = boxes.CompactSampleSizeBox();
  runs_ = boxes.SampleToChunkBox();
  offsets_ = boxes.ChunkOffsetBox();
  largeOffsets_ = boxes.ChunkLargeOffsetBox();
  if (sizes_ != nullptr) {
    // A list is believed for what is there; for a common size there is nothing but the number.
    count_ = UniformSize() != 0 ? static_cast<Number>(sizes_->record->sampleCount)
                                : sizes_->entries.size();
  } else {
    count_ = EntriesOf(compactSizes_);
  }
}

Number SampleLayout::ChunkCount() const {
  return offsets_ != nullptr ? offsets_->entries.size() : EntriesOf(largeOffsets_);
}

unsigned int SampleLayout::UniformSize() const {
  // 0 says that each sample has a size of its own, in the list (ISO/IEC 14496-12, clause 8.7.3.2).
  return sizes_ != nullptr ? static_cast<unsigned int>(sizes_->record->sampleSize) : 0;
}

unsigned int SampleLayout::SizeOf(Number sample) const {
  if (const unsigned int size = UniformSize(); size != 0) return size;
  const auto index = static_cast<std::size_t>(sample);
  return sizes_ != nullptr ? sizes_->entries[index] : compactSizes_->entries[index];
}

Number SampleLayout::PositionOf(std::size_t chunk) const {
  return offsets_ != nullptr ? offsets_->entries[chunk] : largeOffsets_->entries[chunk];
}

Number SampleLayout::BytesOf(Number sample, Number samples) const {
  if (const unsigned int size = UniformSize(); size != 0)
    // Nothing backs a number of samples of one size: it may be any, and its product must not wrap
    // to a small one.
    return samples > kLargest / size ? kLargest : samples * size;
  Number bytes = 0;
  for (const Number end = sample + samples; sample < end; ++sample) bytes += SizeOf(sample);
  return bytes;
}

bool SampleLayout::Next(Chunk& chunk) {
  if (nextChunk_ >= ChunkCount()) return false;
  // Chunks count from 1 in the table of runs. A run goes on until the next one begins.
  const std::size_t number = nextChunk_ + 1;
  while (run_ + 1 < EntriesOf(runs_) && runs_->entries[run_ + 1].firstChunk <= number) ++run_;
  Number samples = 0;
  if (run_ < EntriesOf(runs_) && runs_->entries[run_].firstChunk <= number)
    // The last run may promise more samples than there are.
    samples = std::min<Number>(runs_->entries[run_].samplesPerChunk, SamplesLeft());
  chunk = {PositionOf(nextChunk_), nextSample_, samples, BytesOf(nextSample_, samples)};
  nextSample_ += samples;
  ++nextChunk_;
  return true;
}

std::optional<Number> DifferentSize(const SampleLayout& whole, Number first,
                                    const SampleLayout& part) {
  for (Number i = 0; i < part.SampleCount(); ++i) {
    if (whole.SizeOf(first + i) != part.SizeOf(i)) return i;
  }
  return std::nullopt;
}

TrackSums SumsOf(MP4G::CTrackBox* track) {
  const MP4G::CTrackBox_wr boxes(track);
  const MP4G::CSampleTableBox_wr tables(boxes.SampleTableBox());
  const SampleLayout layout(tables.box);
  TrackSums sums;
  sums.samples = layout.SampleCount();
  sums.chunks = layout.ChunkCount();
  if (const auto* times = tables.TimeToSampleBox()) {
    for (const MP4G::_tagDECODING_TIME_TO_SAMPLE& run : times->entries) {
      sums.timedSamples += run.sampleCount;
      sums.ticks += static_cast<Number>(run.sampleCount) * run.sampleDelta;
    }
  }
  if (const auto* offsets = tables.CompositionOffsetBox()) {
    for (const MP4G::_tagCOMPOSITION_TIME_TO_SAMPLE& run : offsets->entries)
      sums.offsets += run.sampleCount;
  }
  sums.dependencies = EntriesOf(tables.SampleDependencyTypeBox());
  return sums;
}

}  // namespace clipchain
