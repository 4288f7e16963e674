// Finds halves of recordings between which a single clip is missing.
#pragma once

#include <cstddef>
#include <map>

#include "workflow/sequence_scan.h"

namespace clipchain {

// Answers, by index of the half in front, the one behind: the clip that is said to follow the one
// is the clip that is said to precede the other. Where several say so none is tied. Copies are left
// aside.
std::map<std::size_t, std::size_t> FindHalves(const ScanReport& report);

}  // namespace clipchain
