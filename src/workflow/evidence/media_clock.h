// Judges by time stamps inside the media.
#pragma once

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

Evidence JudgeMediaClock(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
