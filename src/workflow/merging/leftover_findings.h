// Reports what earlier runs have left beside an output, and removes it where that is wanted.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "workflow/finding.h"
#include "workflow/leftovers.h"

namespace clipchain {

inline constexpr const char* kLeftoverRemedy = "remove it, or let --remove-leftovers do it";

// Names each of them, or removes it if `remove`, which may be empty, says so. The remedy is for
// those that stay.
Findings LookForLeftovers(const std::string& output,
                          const std::function<bool(const Leftover&)>& remove,
                          const std::string& remedy = kLeftoverRemedy);

// What lies beside the output as if it belonged to it, but for the files of those paths: of a file
// that had the name before.
std::optional<Finding> FindStranger(const std::string& output,
                                    const std::vector<std::string>& written);

}  // namespace clipchain
