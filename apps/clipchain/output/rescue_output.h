// Prints what a rescue found.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"
#include "workflow/rescue.h"

namespace clipchain {

// Lists the tracks with what was found of each, and what is left over.
std::string RescueText(const std::string& broken, const std::string& output,
                       const RescueReport& report);

// Says the same for programs, and the findings; docs/json.md has the fields.
std::string RescueJson(const std::string& broken, const std::string& output,
                       const RescueReport& report, double seconds);

}  // namespace clipchain
