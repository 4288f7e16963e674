// Tells programs of jobs. Not installed, like all that needs a JSON library.
#pragma once

#include <cstddef>
#include <string>

#include "workflow/clips/clip_json.h"
#include "workflow/plan.h"

namespace clipchain {

// What there is to know about a job, without its findings. `output` is null for a copy.
Json JobJson(const Job& job);

// A proposal, and whether it is accepted.
Json PlannedJson(const PlannedProposal& planned);

}  // namespace clipchain
