// Reads the time stamps that a clip carries in a track of metadata.
#pragma once

#include <optional>
#include <string_view>

#include "adapt/boxes/raw_boxes.h"
#include "workflow/clips/clip_file.h"
#include "workflow/evidence/clip_traits.h"

namespace clipchain {

// The first moment that a text names: a date with a time as ISO 8601 writes it, or that of a
// sentence "RMC" of NMEA 0183. Counted from the start of 1970. Nothing without one.
std::optional<Nanoseconds> MomentIn(std::string_view text);

// Of the first track of metadata or text whose first and last sample name a moment. Nothing where
// these are not about as far apart as the clip is long: they are no clock then.
std::optional<MediaClockTraits> MediaClockOf(const ClipFile& clip, const RawBox& movie,
                                             Nanoseconds length);

}  // namespace clipchain
