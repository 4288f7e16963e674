// What a check found, as the tool prints it.
#pragma once

#include <string>
#include <vector>

#include "clipchain/terminal/paint.h"
#include "workflow/check.h"

namespace clipchain {

// The findings, the drift behind each clip, and a line that sums up.
std::string CheckText(const std::vector<std::string>& inputs, const CheckReport& report,
                      const Paint& paint);

// The same for programs; docs/json.md has the fields.
std::string CheckJson(const std::vector<std::string>& inputs, const CheckOptions& options,
                      const CheckReport& report);

}  // namespace clipchain
