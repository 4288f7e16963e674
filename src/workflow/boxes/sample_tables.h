// Looks up the tables of one track, once.
#pragma once

#include <cstdint>

#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"

namespace clipchain {

// Lent by the track; null where a box is missing.
struct SampleTables {
  explicit SampleTables(MP4G::CTrackBox* track);

  // How many samples the chunks have room for by "stsc", be there samples for it or not. Stays at
  // the largest number where it would exceed it.
  std::uint64_t RoomInChunks() const;
  // The box of the sizes, in whichever form; null without one.
  const MP4G::CBox* SizeBox() const;
  // The box of the chunk offsets, in whichever form.
  const MP4G::CBox* OffsetBox() const;

  MP4G::CSampleTableBox* table;
  const MP4G::CTimeToSampleBox* times;
  const MP4G::CCompositionOffsetBox* offsets;
  const MP4G::CSampleSizeBox* sizes;
  const MP4G::CCompactSampleSizeBox* compactSizes;
  const MP4G::CSampleToChunkBox* chunkRuns;
  const MP4G::CChunkOffsetBox* chunks;
  const MP4G::CChunkLargeOffsetBox* largeChunks;
  const MP4G::CSyncSampleBox* syncSamples;
  const MP4G::CSampleDependencyTypeBox* dependencies;
  const MP4G::CSampleDescriptionBox* descriptions;
};

}  // namespace clipchain
