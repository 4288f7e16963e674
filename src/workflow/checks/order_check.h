// Whether the clips are given in the order in which they were recorded.
#pragma once

#include <vector>

#include "workflow/clips/order_facts.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Compares the order given with what identifiers, dates and timecodes say.
void CheckOrder(const std::vector<OrderFacts>& clips, std::vector<FileFindings>& findings);

}  // namespace clipchain
