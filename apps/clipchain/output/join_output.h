// Prints a plan, and what became of it.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"
#include "workflow/join.h"
#include "workflow/plan.h"

namespace clipchain {

// Makes a table with a row for each recording, its clips below it, and what is special about it.
std::string PlanTable(const JoinPlan& plan, const Paint& paint);

// Makes a table with a row for each job that was not left out, what there is to say about it below
// it, and a line that counts.
std::string JoinTable(const JoinPlan& plan, const JoinReport& report, const std::string& folder,
                      const Paint& paint);

// Says both for programs; `report` is null where nothing was run. docs/json.md has the fields.
std::string JoinJson(const JoinPlan& plan, const JoinReport* report);

}  // namespace clipchain
