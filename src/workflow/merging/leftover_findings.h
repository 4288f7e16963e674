// What is said about, and done with, the hidden files that killed runs have left beside an output.
#pragma once

#include <functional>
#include <string>

#include "workflow/finding.h"
#include "workflow/leftovers.h"

namespace clipchain {

inline constexpr const char* kLeftoverRemedy = "remove it, or let --remove-leftovers do it";

// Names each of them, or removes it if `remove`, which may be empty, says so. The remedy is for
// those that stay.
Findings LookForLeftovers(const std::string& output,
                          const std::function<bool(const Leftover&)>& remove,
                          const std::string& remedy = kLeftoverRemedy);

}  // namespace clipchain
