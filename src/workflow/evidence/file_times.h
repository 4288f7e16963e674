// Judges by the system's times of the files, which copying may have changed: they support, and
// never decide.
#pragma once

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

// Whether the second file was written as long after the first one as it runs.
bool FileTimesRunOn(const Family& family, std::size_t before, std::size_t behind);

Evidence JudgeFileTimes(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
