// Reads with which timecode a clip begins and ends.
#pragma once

#include <cstdint>
#include <optional>

#include "adapt/boxes/raw_boxes.h"
#include "workflow/clips/clip_file.h"
#include "workflow/evidence/clip_traits.h"

namespace clipchain {

// How timecodes count, as a sample description says it.
struct TimecodeCount {
  // Two numbers of each minute but every tenth are left out.
  bool dropFrame = false;
  // Of the count; with 30 frames, 29.97 pictures a second may pass.
  unsigned framesPerSecond = 0;
  // Frames that pass in a second.
  double rate = 0;

  // 2,589,408 at 30 with dropped numbers.
  std::int64_t Day() const;
};

// The pictures that the timecodes are of.
struct Pictures {
  std::uint64_t count = 0;
  // Of all of them.
  Nanoseconds length = 0;
};

// With the count that stands in a single sample: the end is that far behind it as the pictures go.
std::optional<TimecodeTraits> TimecodeFromCount(const TimecodeCount& count, std::uint32_t first,
                                                const Pictures& pictures);

// With a sample for each picture: hours, minutes (with a sign), seconds and frames, a byte each, or
// a number of frames, whichever runs on from the first one to the last.
std::optional<TimecodeTraits> TimecodeFromFrames(const TimecodeCount& count, std::uint32_t first,
                                                 std::uint32_t last, const Pictures& pictures);

// Reads up to two samples of the first track of timecodes. Nothing without one, or where its
// timecodes say nothing that can be relied on.
std::optional<TimecodeTraits> TimecodeOf(const ClipFile& clip, const RawBox& movie,
                                         const Pictures& pictures);

}  // namespace clipchain
