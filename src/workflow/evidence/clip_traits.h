// What a clip says that may tell which recording it belongs to, gathered in one look at its movie
// box.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace clipchain {

// Lengths and moments in billionths of a second.
using Nanoseconds = std::int64_t;
inline constexpr Nanoseconds kSecond = 1'000'000'000;

// Timecodes as numbers of frames since midnight.
struct TimecodeTraits {
  std::int64_t first = 0;  // of the first picture
  // Of the picture behind the last one; two numbers where the clip ends within a frame of the code.
  std::int64_t earliestEnd = 0;
  std::int64_t latestEnd = 0;
  std::int64_t day = 0;          // frames of a day, at which the count begins anew
  unsigned framesPerSecond = 0;  // as the code counts them
};

// The body of a leaf box that may be an identifier, without up to 4 leading bytes.
struct PlacedValue {
  std::string place;  // the path of the box, "udta/ABCD"
  std::string value;  // bytes
};

// Moments that a metadata track notes: of its first and of its last sample.
struct MediaClockTraits {
  Nanoseconds first = 0;
  Nanoseconds last = 0;
};

struct ClipTraits {
  std::string path{};
  unsigned int volume = 0;    // the card that it lies on
  long long size = 0;         // of the file, in bytes
  std::string description{};  // equal in clips that fit each other
  bool isPicture = false;     // its video is a single picture
  // Tell a movie box from any other one.
  std::array<std::uint64_t, 2> movieDigest{};
  std::optional<Nanoseconds> length{};  // of the video, if it is known
  Nanoseconds frame = 0;                // of one picture, on average
  std::uint64_t created = 0;            // seconds since the start of 1904; 0 if nothing is noted
  std::optional<TimecodeTraits> timecode{};
  std::vector<PlacedValue> values{};
  std::optional<MediaClockTraits> mediaClock{};
  std::optional<Nanoseconds> written{};  // the system's time of the last change of the file
};

// Nothing where there is no movie box that can be read.
std::optional<ClipTraits> ReadClipTraits(const std::string& path, unsigned int volume);

}  // namespace clipchain
