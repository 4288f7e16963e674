// Asks somebody at a terminal about proposed recordings.
#pragma once

#include <functional>

#include "clipchain/terminal/progress_line.h"
#include "workflow/proposals.h"

namespace clipchain {

// Shows a proposal and asks whether to join it. The line makes room for it and must outlive the
// function.
std::function<bool(const Proposal&)> ProposalQuestion(ProgressLine& line);

}  // namespace clipchain
