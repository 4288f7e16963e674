// Tells the limits of a camera from lengths and sizes that clips share by chance.
#pragma once

#include "workflow/evidence/family.h"

namespace clipchain {

// Takes away the limits of the card that are none of the camera's: where clips stop that are not
// followed at once, by the clock, the timecode or an identity, more often than those that stop
// elsewhere. Customs, limits and what stops at them must be there.
void DropChanceLimits(Family& family, FamilyCard& card);

}  // namespace clipchain
