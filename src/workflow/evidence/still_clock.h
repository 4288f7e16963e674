// Finds times that are equal in several clips and still are not the time of one recording: those of
// a clock that stands still, and those of what looks to two sides.
#pragma once

#include <cstddef>

#include "workflow/evidence/family.h"

namespace clipchain {

// Takes away times that several clips share which their numbers or their lengths keep apart. Limits
// and numbers must be there.
void DropSharedTimes(Family& family);

// Two clips of one time and one length, which no other clip of the card has, may be chapters of
// which the last one is full, too, or what looks to two sides.
bool MayBeTwoSides(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
