// A movie made of fragments is one whose tables agree: they speak of the same samples, which lie in
// the media of the file, and reading them gives the same tables again.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/clips/media_map.h"
#include "adapt/tables/fragmented_movie.h"
#include "foundation/fourcc.h"
#include "target.h"

using namespace clipchain;

namespace {

struct File {
  RawBox movie;
  std::vector<MediaRange> media;
  std::vector<std::pair<std::uint64_t, RawBox>> fragments;
};

File FileOf(std::span<const unsigned char> bytes) {
  File file;
  const std::size_t size = bytes.size();
  RawBox box;
  while (true) {
    const std::uint64_t position = size - bytes.size();
    if (!box.Take(bytes)) return file;
    const std::uint64_t end = size - bytes.size();
    if (box.type == FourCc("mdat")) file.media.push_back({end - box.data.size(), box.data.size()});
    if (box.type == FourCc("moof")) file.fragments.emplace_back(position, box);
    if (box.type == FourCc("moov") && file.movie.type == 0) file.movie = box;
  }
}

Bytes Written(const RawBox& box) {
  Bytes bytes;
  box.Write(bytes);
  return bytes;
}

void CheckData(const SampleSizes& sizes, const ChunkRuns& runs,
               const std::vector<std::uint64_t>& chunks, const std::vector<MediaRange>& media) {
  std::uint32_t sample = 0;
  std::size_t run = 0;
  for (std::size_t chunk = 0; chunk < chunks.size(); ++chunk) {
    if (run + 1 < runs.size() && runs[run + 1].firstChunk == chunk + 1) ++run;
    std::uint64_t size = 0;
    for (std::uint32_t i = 0; i < runs[run].samplesPerChunk; ++i) size += sizes.At(sample++);
    const auto behind = std::upper_bound(
        media.begin(), media.end(), chunks[chunk],
        [](std::uint64_t at, const MediaRange& range) { return at < range.position; });
    const bool isInside =
        behind != media.begin() &&
        chunks[chunk] + size <= std::prev(behind)->position + std::prev(behind)->size;
    fuzz::Require(size == 0 || isInside, "samples lie in the media");
  }
}

void CheckTrack(const RawBox& track, const std::vector<MediaRange>& media, bool hadTables) {
  const RawBox& table = *SampleTable(track);
  const auto times = ReadTimes(*table.Child(FourCc("stts")));
  const auto sizes = ReadSizes(*table.Child(FourCc("stsz")));
  const auto runs = ReadChunkRuns(*table.Child(FourCc("stsc")));
  const RawBox* narrow = table.Child(FourCc("stco"));
  const auto chunks = ReadChunkOffsets(narrow != nullptr ? *narrow : *table.Child(FourCc("co64")));
  fuzz::Require(times && sizes && runs && chunks, "tables that were made can be read");
  fuzz::Require(SampleCount(*times) == sizes->count, "each sample has a time");
  fuzz::Require(SampleCount(*runs, chunks->size()) == sizes->count || sizes->count == 0,
                "each sample has a chunk");
  if (const RawBox* box = table.Child(FourCc("ctts"))) {
    const auto offsets = ReadOffsets(*box);
    fuzz::Require(offsets && SampleCount(*offsets) == sizes->count, "each sample has an offset");
  }
  if (const RawBox* box = table.Child(FourCc("stss"))) {
    const auto numbers = ReadSampleNumbers(*box);
    fuzz::Require(numbers && (numbers->empty() || numbers->back() <= sizes->count),
                  "sync samples are there");
  }
  if (const RawBox* box = table.Child(FourCc("sdtp"))) {
    const auto bytes = ReadDependencies(*box);
    fuzz::Require(bytes && bytes->size() == sizes->count, "each sample has its dependencies");
  }
  const auto header = ReadTimeHeader(*track.At({FourCc("mdia"), FourCc("mdhd")}));
  fuzz::Require(header && header->duration == MediaDuration(*times), "the duration is the sum");
  // Tables of the movie box may claim any number of samples, and media that is not there.
  if (!hadTables) CheckData(*sizes, *runs, *chunks, media);
}

bool HasSamples(const RawBox& movie) {
  for (const RawBox* track : TracksOf(movie)) {
    const RawBox* table = SampleTable(*track);
    TableBuilder tables;
    if (table != nullptr && (tables.TakeTables(*table) || tables.Count() != 0)) return true;
  }
  return false;
}

RawBox ReadAgain(const RawBox& movie, const std::vector<MediaRange>& media) {
  FragmentedMovie reading(movie, media);
  fuzz::Require(reading.Begin(), "a movie that was made can be read");
  const auto again = reading.Finish();
  fuzz::Require(again.has_value(), "and made again");
  return *again;
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  File file = FileOf({data, size});
  const bool hadTables = HasSamples(file.movie);
  FragmentedMovie reading(file.movie, file.media);
  bool isMade = reading.Begin();
  for (const auto& [position, fragment] : file.fragments) {
    isMade = isMade && reading.Add(fragment, position);
  }
  const auto movie = isMade ? reading.Finish() : std::nullopt;
  if (!movie) {
    Require(!reading.Problem().text.empty(), "a refusal says why");
    return;
  }
  for (const RawBox* track : TracksOf(*movie)) CheckTrack(*track, file.media, hadTables);
  // Boxes may change their places in the first turn alone.
  const RawBox once = ReadAgain(*movie, file.media);
  Require(once.Size() == movie->Size(), "a movie without fragments says the same");
  Require(Written(ReadAgain(once, file.media)) == Written(once), "and stays as it is");
}
