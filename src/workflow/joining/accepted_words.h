// Says by what evidence a result was put together.
#pragma once

#include "workflow/plan.h"

namespace clipchain {

// A note about the first clip of a job that somebody accepted, with its grade and evidence.
Finding AcceptedFinding(const Job& job);

}  // namespace clipchain
