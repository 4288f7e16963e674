// A plan, and what became of it, as the tool prints them.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"
#include "workflow/join.h"
#include "workflow/plan.h"

namespace clipchain {

// A table with a row for each sequence, its clips below it, and what is special about it.
std::string PlanTable(const JoinPlan& plan, const Paint& paint);

// A table with a row for each job that was not left out, what there is to say about it below it,
// and a line that counts.
std::string JoinTable(const JoinPlan& plan, const JoinReport& report, const std::string& folder,
                      const Paint& paint);

// Both for programs; `report` is null where nothing was run. docs/json.md has the fields.
std::string JoinJson(const JoinPlan& plan, const JoinReport* report);

}  // namespace clipchain
