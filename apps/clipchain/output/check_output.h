// What a check found, as the tool prints it.
#pragma once

#include <string>
#include <vector>

#include "clipchain/terminal/paint.h"
#include "workflow/check.h"

namespace clipchain {

// The findings that are `listed`, the drift behind each clip, and a line that sums up all of them.
std::string CheckText(const std::vector<std::string>& inputs, const CheckReport& report,
                      const Findings& listed, const Paint& paint);

// The same for programs; docs/json.md has the fields.
std::string CheckJson(const std::vector<std::string>& inputs, const CheckOptions& options,
                      const CheckReport& report);

}  // namespace clipchain
