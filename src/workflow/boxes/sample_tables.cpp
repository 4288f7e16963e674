#include "workflow/boxes/sample_tables.h"

#include <algorithm>
#include <limits>

#include "reader/typed_views.h"

namespace clipchain {

SampleTables::SampleTables(MP4G::CTrackBox* track)
    : table(MP4G::CTrackBox_wr(track).SampleTableBox()) {
  const MP4G::CSampleTableBox_wr view(table);
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
}

std::uint64_t SampleTables::RoomInChunks() const {
  if (chunkRuns == nullptr) return 0;
  const auto& runs = chunkRuns->entries;
  const std::uint64_t end = 1 + (chunks != nullptr        ? chunks->entries.size()
                                 : largeChunks != nullptr ? largeChunks->entries.size()
                                                          : 0);
  std::uint64_t room = 0;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const std::uint64_t first = runs[i].firstChunk;
    const std::uint64_t next = i + 1 < runs.size() ? std::uint64_t{runs[i + 1].firstChunk} : end;
    const std::uint64_t behind = std::min(next, end);
    // Runs that do not ascend hold nothing; the check of runs names them.
    if (first >= behind) continue;
    const std::uint64_t held = (behind - first) * runs[i].samplesPerChunk;
    // It never wraps to a small number, which would be told as too little room.
    room += std::min(held, std::numeric_limits<std::uint64_t>::max() - room);
  }
  return room;
}

const MP4G::CBox* SampleTables::SizeBox() const {
  return sizes != nullptr ? static_cast<const MP4G::CBox*>(sizes) : compactSizes;
}

const MP4G::CBox* SampleTables::OffsetBox() const {
  return chunks != nullptr ? static_cast<const MP4G::CBox*>(chunks) : largeChunks;
}

}  // namespace clipchain
