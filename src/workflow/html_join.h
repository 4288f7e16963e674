// Shows what a join does with the recordings of cards, and what came of it, as a page.
#pragma once

#include <string>

#include "foundation/export.h"
#include "workflow/join.h"
#include "workflow/plan.h"

namespace clipchain {

// Writes one HTML document in UTF-8 that needs nothing else: what needs attention, then each
// recording with its clips, its result and what was found. `report` is null for a plan that was not
// run. `results` is the folder of the results as people name it; `folder` is the one of the page,
// from which its links lead; `made`, if it is not empty, is shown as the time at which it was made.
//
// Programs find elements of the class "job", in the order of the plan, with "data-number",
// "data-left-out", "data-outcome", "data-output" and "data-size".
struct HtmlJoinOptions {
  std::string results{};
  std::string folder{};
  std::string made{};
};
CLIPCHAIN_API std::string HtmlJoin(const JoinPlan& plan, const JoinReport* report,
                                   const HtmlJoinOptions& options);

}  // namespace clipchain
