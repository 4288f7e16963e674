// Lets the tracks of a movie begin together that was made of fragments.
#pragma once

#include <cstdint>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/reason.h"
#include "adapt/tables/fragmented_movie.h"

namespace clipchain {

// Writes the durations of the headers and the edit lists of a movie whose tables hold the samples
// of these tracks, in the order of the movie. An edit that ends with the fragments, with a duration
// of 0 (8.6.6), gets the one that the samples have. Samples that are first decoded later than at
// time 0 are shown when they were, but for the time that all tracks wait: an empty edit says how
// much later a track begins, in a movie time scale that can say it exactly. Why that can't be done,
// as the rest of a sentence that begins with the clip.
[[nodiscard]] Reason SetFragmentClock(RawBox& movie, const std::vector<FragmentedTrack>& tracks);

}  // namespace clipchain
