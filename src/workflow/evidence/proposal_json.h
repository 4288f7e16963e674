// Tells programs what is proposed. Not installed, like all that needs a JSON library.
#pragma once

#include "workflow/clips/clip_json.h"
#include "workflow/proposals.h"

namespace clipchain {

Json ProposalJson(const Proposal& proposal);

}  // namespace clipchain
