// Judges by where clips stop: a camera that goes on in a new file does so at a limit.
#pragma once

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

// The limits that clips of a card stop at and none of them exceeds: common ones, and what two or
// more of them share.
std::vector<Limit> LimitsOf(const std::vector<FamilyClip>& clips,
                            const std::vector<std::size_t>& card);

// Whether the first clip stops at a limit that the second does not exceed.
Evidence JudgeSplit(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
