// Prints proposed recordings.
#pragma once

#include <string>
#include <vector>

#include "clipchain/terminal/paint.h"
#include "workflow/proposals.h"

namespace clipchain {

// Makes a row for a proposal, its clips below it, and what speaks for it.
std::string ProposalText(const Proposal& proposal, const Paint& paint);

// Puts all of them below a heading; empty without any.
std::string ProposalsText(const std::vector<Proposal>& proposals, const Paint& paint);

}  // namespace clipchain
