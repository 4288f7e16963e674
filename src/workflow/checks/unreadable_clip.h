// Tells why a file is no clip that can be read.
#pragma once

#include <string>

#include "foundation/result.h"
#include "workflow/finding.h"

namespace clipchain {

// Says what a check finds against reading the file by itself, after the engine answered `result` to
// it; at least one finding. The boxes may take `memoryLimit` bytes in memory; 0: half of the
// machine's.
[[nodiscard]] Findings WhyNoClip(const std::string& path, HRESULT result,
                                 long long memoryLimit = 0);

}  // namespace clipchain
