// Finds times that are equal in several clips and still are not the time of one recording: those of
// a clock that stands still, and those of what looks to two sides.
#pragma once

#include <cstddef>

#include "adapt/reason.h"
#include "workflow/evidence/family.h"

namespace clipchain {

// Takes away times that several clips share which their numbers or their lengths keep apart. Limits
// and numbers must be there.
void DropSharedTimes(Family& family);

// Notes the cards of which all clips have one time. Shared times that tell nothing must be gone.
void NoteOneTime(const Family& family, FamilyCard& card);

// Says why two clips of one time may be of two recordings still, where the time of a recording is
// in all of its clips; nothing where it tells that they are of one.
[[nodiscard]] Reason WhyOneTimeIsSilent(const Family& family, std::size_t before,
                                        std::size_t behind);

}  // namespace clipchain
