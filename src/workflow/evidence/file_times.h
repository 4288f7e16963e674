// Judges by the system's times of the files, which copying may have changed: they support, and
// never decide.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

using TimedClips = std::vector<std::pair<std::int64_t, std::size_t>>;

// The clips of a folder by the times of their files, if these may be the times at which they were
// recorded, one behind the other: none is closer to the one before than it runs.
TimedClips ByFileTimes(const Family& family, const std::vector<std::size_t>& folder);

// Whether the second file was written as long after the first one as it runs.
bool FileTimesRunOn(const Family& family, std::size_t before, std::size_t behind);

// Whether the times of the files, which may be those of the recording, leave a pause between both.
bool FileTimesPause(const Family& family, std::size_t before, std::size_t behind);

Evidence JudgeFileTimes(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
