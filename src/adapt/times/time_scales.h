// Counts the times of a clip in other units.
#pragma once

#include <cstdint>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// Counts the durations of the movie's header, of its tracks' headers and of its edit lists in that
// many ticks a second, each rounded to the nearest. False: a header is missing or its scale is 0,
// and nothing is changed.
[[nodiscard]] bool ConvertMovieScale(RawBox& movie, std::uint32_t scale);

// Counts the durations and composition offsets of a track's samples in that many ticks a second,
// and with them its media header and the media times of its edit list, which are rounded to the
// nearest. False: one of the former would not be exact, and nothing is changed.
[[nodiscard]] bool ConvertMediaScale(RawBox& trak, std::uint32_t scale);

}  // namespace clipchain
