// Gathers, in one look at its movie box, what a clip says that may tell which recording it belongs
// to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workflow/evidence/digest.h"

namespace clipchain {

// Lengths and moments in billionths of a second.
using Nanoseconds = std::int64_t;
inline constexpr Nanoseconds kSecond = 1'000'000'000;

// Timecodes as numbers of frames since midnight.
struct TimecodeTraits {
  // Of the first picture.
  std::int64_t first = 0;
  // Of the picture behind the last one; two numbers where the clip ends within a frame of the code.
  std::int64_t earliestEnd = 0;
  std::int64_t latestEnd = 0;
  // Frames of a day, at which the count begins anew.
  std::int64_t day = 0;
  // As the code counts them.
  unsigned framesPerSecond = 0;
};

// The body of a leaf box that may be an identifier, without up to 4 leading bytes.
struct PlacedValue {
  // The path of the box, "udta/ABCD".
  std::string place;
  // Bytes.
  std::string value;
};

// Moments that a metadata track notes: of its first and of its last sample.
struct MediaClockTraits {
  Nanoseconds first = 0;
  Nanoseconds last = 0;
};

struct ClipTraits {
  std::string path{};
  // The card that it lies on.
  unsigned int volume = 0;
  // Of the file, in bytes.
  long long size = 0;
  // Equal in clips that fit each other.
  std::string description{};
  // Its video is a single picture.
  bool isPicture = false;
  // Of the movie box.
  Digest movieDigest{};
  // Of the video, if it is known.
  std::optional<Nanoseconds> length{};
  // Of one picture, on average.
  Nanoseconds frame = 0;
  // Seconds since the start of 1904; 0 if nothing is noted.
  std::uint64_t created = 0;
  std::optional<TimecodeTraits> timecode{};
  // Sorted by place.
  std::vector<PlacedValue> values{};
  std::optional<MediaClockTraits> mediaClock{};
  // The system's time of the last change of the file.
  std::optional<Nanoseconds> written{};
};

// Nothing where there is no movie box that can be read.
std::optional<ClipTraits> ReadClipTraits(const std::string& path, unsigned int volume);

}  // namespace clipchain
