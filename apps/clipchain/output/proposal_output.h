// Proposed recordings, as the tool prints them.
#pragma once

#include <string>
#include <vector>

#include "clipchain/terminal/paint.h"
#include "workflow/proposals.h"

namespace clipchain {

// A row for a proposal, its clips below it, and what speaks for it.
std::string ProposalText(const Proposal& proposal, const Paint& paint);

// All of them below a heading; empty without any.
std::string ProposalsText(const std::vector<Proposal>& proposals, const Paint& paint);

}  // namespace clipchain
