// Tells which clips are made alike, so that one can be appended to the other.
#pragma once

#include <string>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// Equal for movies that fit each other, adapted or not, by their tracks: the same kinds, time
// scales and sample descriptions in any order. What a description declares about bit rates and
// buffers is left out, for each chapter of a recording has its own, and so is the form of all
// tables.
std::string DescriptionOf(const RawBox& movie);

}  // namespace clipchain
