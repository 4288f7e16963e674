// Finds where the samples of a track lie, and what its tables add up to, off the tables one entry
// after the other, as any player would. Made for checking what the engine made of them, and
// therefore without its readers.
#pragma once

#include <optional>

#include "reader/typed_views.h"

namespace clipchain {

// A run of samples without a gap.
struct Chunk {
  // In the file.
  unsigned long long position;
  unsigned long long firstSample;
  unsigned long long samples;
  // The largest number there is where it would be even larger.
  unsigned long long bytes;
};

class SampleLayout {
 public:
  // A null table has no samples. The table must outlive this object.
  explicit SampleLayout(MP4G::CSampleTableBox* table);

  unsigned long long SampleCount() const { return count_; }
  unsigned long long ChunkCount() const;
  // Not 0: the size of all samples.
  unsigned int UniformSize() const;
  unsigned int SizeOf(unsigned long long sample) const;

  // The next chunk, in the order of the table; false behind the last one. A chunk has no more
  // samples than are left.
  bool Next(Chunk& chunk);
  // Samples that no chunk holds, once Next has answered false.
  unsigned long long SamplesLeft() const { return count_ - nextSample_; }

 private:
  unsigned long long PositionOf(std::size_t chunk) const;
  unsigned long long BytesOf(unsigned long long sample, unsigned long long samples) const;

  const MP4G::CSampleSizeBox* sizes_;
  const MP4G::CCompactSampleSizeBox* compactSizes_;
  const MP4G::CSampleToChunkBox* runs_;
  const MP4G::CChunkOffsetBox* offsets_;
  const MP4G::CChunkLargeOffsetBox* largeOffsets_;
  unsigned long long count_ = 0;
  std::size_t nextChunk_ = 0;
  std::size_t run_ = 0;
  unsigned long long nextSample_ = 0;
};

// The first sample of `part` whose size is not that of the sample `first` samples further on in
// `whole`, which has as many; nothing where all sizes are the same.
std::optional<unsigned long long> DifferentSize(const SampleLayout& whole, unsigned long long first,
                                                const SampleLayout& part);

// What the clips' tracks must sum up to. Tables that are missing count as empty.
struct TrackSums {
  // Of "stsz" or "stz2".
  unsigned long long samples = 0;
  // Of "stco" or "co64".
  unsigned long long chunks = 0;
  // Of "stts".
  unsigned long long timedSamples = 0;
  // Of "stts".
  unsigned long long ticks = 0;
  // Samples of "ctts".
  unsigned long long offsets = 0;
  // Of "sdtp".
  unsigned long long dependencies = 0;
};

TrackSums SumsOf(MP4G::CTrackBox* track);

}  // namespace clipchain
