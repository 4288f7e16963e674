// Finds values in a movie box that may identify a recording or a camera, whatever box they are in.
#pragma once

#include <span>
#include <vector>

#include "workflow/evidence/clip_traits.h"

namespace clipchain {

// Collects the bodies of 16 to 32 bytes, up to 4 leading bytes aside, of leaf boxes inside of
// "udta", "uuid" and "meta", wherever these stand in the body of a movie box. Text and bytes that
// are all alike are no values. Sorted by place.
std::vector<PlacedValue> LeafValues(std::span<const unsigned char> movieBody);

}  // namespace clipchain
