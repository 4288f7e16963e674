// Prints what a check found.
#pragma once

#include <string>
#include <vector>

#include "clipchain/terminal/paint.h"
#include "workflow/check.h"

namespace clipchain {

// Lists the findings that are `listed`, the drift behind each clip, of many clips the largest, and
// sums all of them up.
std::string CheckText(const std::vector<std::string>& inputs, const CheckReport& report,
                      const Findings& listed, const Paint& paint);

// Says the same for programs; docs/json.md has the fields.
std::string CheckJson(const std::vector<std::string>& inputs, const CheckOptions& options,
                      const CheckReport& report);

}  // namespace clipchain
