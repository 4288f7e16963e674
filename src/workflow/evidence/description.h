// Tells which clips are made alike, so that one can be appended to the other.
#pragma once

#include <string>

#include "adapt/raw_boxes.h"

namespace clipchain {

// Equal for movies that have the same tracks in the same order: kinds, time scales and sample
// descriptions. What a description declares about bit rates and buffers is left out, for each
// chapter of a recording has its own.
std::string DescriptionOf(const RawBox& movie);

}  // namespace clipchain
