#include "adapt/engine/media_places.h"

#include <algorithm>
#include <limits>
#include <string>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/clips/media_map.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

struct Chunk {
  std::uint64_t position = 0;
  std::uint64_t bytes = 0;
  std::uint64_t firstSample = 0;
  std::uint64_t samples = 0;

  std::uint64_t End() const {
    // A place is what the file says, and may lie at the end of all numbers.
    return position + std::min(bytes, std::numeric_limits<std::uint64_t>::max() - position);
  }
};

struct Tables {
  SampleSizes sizes;
  ChunkRuns runs;
  std::vector<std::uint64_t> offsets;
};

const RawBox* EitherOf(const RawBox& table, unsigned int usual, unsigned int other) {
  const RawBox* box = table.Child(usual);
  return box != nullptr ? box : table.Child(other);
}

// Nothing where a table is missing or damaged, of which others speak.
std::optional<Tables> TablesOf(const RawBox& table) {
  const RawBox* sizeBox = EitherOf(table, FourCc("stsz"), FourCc("stz2"));
  const RawBox* offsetBox = EitherOf(table, FourCc("stco"), FourCc("co64"));
  const RawBox* runBox = table.Child(FourCc("stsc"));
  if (sizeBox == nullptr || offsetBox == nullptr || runBox == nullptr) return std::nullopt;
  auto sizes = ReadSizes(*sizeBox);
  auto runs = ReadChunkRuns(*runBox);
  auto offsets = ReadChunkOffsets(*offsetBox);
  if (!sizes || !runs || !offsets) return std::nullopt;
  return Tables{std::move(*sizes), std::move(*runs), std::move(*offsets)};
}

// Gives each chunk with samples to `see`.
template <typename See>
void WalkChunks(const Tables& tables, See see) {
  std::uint64_t sample = 0;
  std::size_t run = 0;
  for (std::size_t i = 0; i < tables.offsets.size() && sample < tables.sizes.count; ++i) {
    while (run + 1 < tables.runs.size() && tables.runs[run + 1].firstChunk <= i + 1) ++run;
    // Nobody says how many samples the chunks hold; other checks tell that.
    if (tables.runs.empty()) return;
    Chunk chunk{
        tables.offsets[i], 0, sample,
        std::min<std::uint64_t>(tables.runs[run].samplesPerChunk, tables.sizes.count - sample)};
    sample += chunk.samples;
    if (tables.sizes.uniform != 0) {
      chunk.bytes = chunk.samples * tables.sizes.uniform;
    } else {
      for (std::uint64_t k = chunk.firstSample; k < sample; ++k)
        chunk.bytes += tables.sizes.sizes[static_cast<std::size_t>(k)];
    }
    see(chunk);
  }
}

struct Where {
  std::size_t clip;
  std::size_t track;
};

void Look(const RawBox& track, const MediaMap& media, const Where& where, FitReport& report) {
  const RawBox* table = SampleTable(track);
  const auto tables = table != nullptr ? TablesOf(*table) : std::nullopt;
  if (!tables) return;
  std::uint64_t outside = 0;
  Chunk first;
  WalkChunks(*tables, [&](const Chunk& chunk) {
    // Samples outside of "mdat" would not be copied, and the result would show what stands at
    // their place there.
    if (chunk.bytes <= media.Behind(chunk.position)) return;
    if (outside++ == 0) first = chunk;
  });
  if (outside == 0) return;
  const std::string text =
      "has " + std::to_string(outside) + " of " + std::to_string(tables->offsets.size()) +
      " chunks, the first of them at bytes " + std::to_string(first.position) + " to " +
      std::to_string(first.End()) + " with the samples " + std::to_string(first.firstSample + 1) +
      " to " + std::to_string(first.firstSample + first.samples) + " of " +
      std::to_string(tables->sizes.count) + ", outside of the media";
  report
      .Refuse(FitProblemKind::kSamplesOutsideMedia, where.clip, RawTrackId(track), text,
              "copy the clip again from the card")
      .box = "moov/trak[" + std::to_string(where.track) + "]/mdia/minf/stbl/stco";
}

}  // namespace

void AdaptMediaPlaces(FitClip& clip, std::size_t index, FitReport& report) {
  const MediaMap media(clip.media, 0);
  std::size_t place = 0;
  for (const RawBox* track : TracksOf(clip.movie)) Look(*track, media, {index, place++}, report);
}

}  // namespace clipchain
