// Holds the samples that were found in a broken clip.
#pragma once

#include <cstdint>
#include <vector>

namespace clipchain::rescue {

// Samples of one track without a gap between them.
struct SampleRun {
  // Index among the reference's.
  std::size_t track = 0;
  std::uint64_t position = 0;
  std::uint64_t bytes = 0;
  std::uint64_t samples = 0;
};

// Sizes of samples that follow one another: one each or, where there are none,
// one for all.
struct SampleSpan {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
  std::vector<std::uint32_t> sizes;

  // Leaves no more than the first ones, which have a size each.
  void Shorten(std::uint64_t most);
};

// What tells times and sync flags of a picture.
struct PictureFacts {
  // Picture order count.
  std::int32_t order = 0;
  // The counts behind it start from it.
  bool setsBack : 1 = false;
  bool idr : 1 = false;
  bool randomAccess : 1 = false;
  bool recovery : 1 = false;
  bool intra : 1 = false;
  bool holdsSets : 1 = false;
  // AVC: whether others refer to it.
  unsigned char reference = 0;
  // Of the first slice.
  unsigned char type = 0;
};
// There is one for each picture.
static_assert(sizeof(PictureFacts) == 8);

struct ByteRange {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

struct TrackHarvest {
  std::uint64_t samples = 0;
  std::uint64_t bytes = 0;
  // Unless all are alike.
  std::vector<std::uint32_t> sizes;
  // Of length-prefixed video.
  std::vector<PictureFacts> pictures;
  // Where records say them.
  std::vector<std::uint32_t> durations;
  // Sound and pictures go apart: the recording lacks some of either.
  bool goesApart = false;
};

struct Harvest {
  // In the order of the file.
  std::vector<SampleRun> runs;
  std::vector<TrackHarvest> tracks;
  // Parts of the media that hold no sample that is sure.
  std::vector<ByteRange> unknown;

  void Add(std::size_t track, std::uint64_t position, const SampleSpan& span);
  // Of a sample that was found, by its number.
  std::uint64_t PlaceOf(std::size_t track, std::uint64_t sample) const;
  // Takes out again what begins there or behind.
  void DropFrom(std::uint64_t position);
  void AddUnknown(std::uint64_t begin, std::uint64_t end);
};

}  // namespace clipchain::rescue
