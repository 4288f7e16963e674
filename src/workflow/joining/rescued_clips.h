// Plans a join of clips of which some are broken: those are rescued first.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workflow/plan.h"
#include "workflow/rescue.h"

namespace clipchain {

struct RescuePlanOptions {
  PlanOptions plan;
  // Told about each step of a rescue; false stops the work. May be empty.
  std::function<bool(const RescueStep&)> progress;
};

// Rescues each clip without a whole movie box that lies among the operands, into the folder
// "rescued" below that of the results, by what the clips beside it teach; a file that is there is
// used where it holds the same bytes, and never replaced. Then plans as PlanFor() does, with the
// rescued clips in place of the broken ones. A recording that holds one is marked in the name of
// its result and in its findings.
[[nodiscard]] JoinPlan PlanWithRescued(const std::vector<std::string>& operands,
                                       const RescuePlanOptions& options);

}  // namespace clipchain
