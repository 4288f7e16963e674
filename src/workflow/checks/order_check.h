// Checks whether the clips are given in the order in which they were recorded.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "workflow/clips/order_facts.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Finds the order in which the clips were recorded, as indices: by identifiers that make one chain
// of them all, or, where no clip has any, by timecodes that run on, or by dates. Nothing where that
// does not decide: clips of several recordings, or clips that say nothing.
std::optional<std::vector<std::size_t>> RecordedOrder(const std::vector<OrderFacts>& clips);

// Compares the order given with what identifiers, dates and timecodes say.
void CheckOrder(const std::vector<OrderFacts>& clips, std::vector<FileFindings>& findings);

}  // namespace clipchain
