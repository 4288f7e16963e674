// Whether the clips are given in the order in which they were recorded.
#pragma once

#include <vector>

#include "workflow/file_findings.h"
#include "workflow/order_facts.h"

namespace clipchain {

// Compares the order given with what identifiers, dates and timecodes say.
void CheckOrder(const std::vector<OrderFacts>& clips, std::vector<FileFindings>& findings);

}  // namespace clipchain
