#include "workflow/evidence/track_samples.h"

#include <algorithm>

#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

std::optional<TrackSamples> TrackSamples::Of(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  if (table == nullptr) return std::nullopt;
  const RawBox* sizes = table->Child(FourCc("stsz"));
  if (sizes == nullptr) sizes = table->Child(FourCc("stz2"));
  const RawBox* runs = table->Child(FourCc("stsc"));
  const RawBox* chunks = table->Child(FourCc("stco"));
  if (chunks == nullptr) chunks = table->Child(FourCc("co64"));
  if (sizes == nullptr || runs == nullptr || chunks == nullptr) return std::nullopt;
  auto readSizes = ReadSizes(*sizes);
  auto readRuns = ReadChunkRuns(*runs);
  auto readChunks = ReadChunkOffsets(*chunks);
  if (!readSizes || !readRuns || !readChunks) return std::nullopt;
  TrackSamples samples;
  samples.sizes_ = std::move(*readSizes);
  samples.runs_ = std::move(*readRuns);
  samples.chunks_ = std::move(*readChunks);
  return samples;
}

std::vector<unsigned char> TrackSamples::Read(const ClipFile& clip, std::uint32_t index,
                                              std::uint32_t most) const {
  if (index >= sizes_.count) return {};
  // Of the run.
  std::uint64_t first = 0;
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    const std::uint64_t from = runs_[i].firstChunk - 1u;
    const std::uint64_t to = i + 1 < runs_.size() ? runs_[i + 1].firstChunk - 1u : chunks_.size();
    const std::uint64_t perChunk = runs_[i].samplesPerChunk;
    // Runs that hold nothing, or do not ascend, would divide by zero or count backwards.
    if (perChunk == 0 || to <= from) continue;
    const std::uint64_t there = (to - from) * perChunk;
    if (index - first >= there) {
      first += there;
      continue;
    }
    const std::uint64_t chunk = from + (index - first) / perChunk;
    if (chunk >= chunks_.size()) return {};
    std::uint64_t position = chunks_[chunk];
    for (std::uint64_t at = index - (index - first) % perChunk; at < index; ++at)
      position += sizes_.At(static_cast<std::uint32_t>(at));
    // Places are the file's word, and may be anywhere.
    if (position > static_cast<std::uint64_t>(clip.Size())) return {};
    return clip.Read(static_cast<long long>(position), std::min(most, sizes_.At(index)));
  }
  return {};
}

}  // namespace clipchain
