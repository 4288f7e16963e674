// Brings what a movie says about durations in line with its tables.
#pragma once

#include <cstdint>

#include "adapt/raw_boxes.h"

namespace clipchain {

// Where the last sample of a track ends on the clock of its media, in the order in which samples
// are shown; 0 where its tables can't be read.
std::uint64_t CompositionEnd(const RawBox& track);

// Sets the duration of each media header to what its samples last, of each edit list that shows one
// stretch of the media, be it behind an empty edit, to what lies behind its start, of each track
// header to what its edits last, and of the movie to its longest track.
void RewriteDurations(RawBox& movie);

}  // namespace clipchain
