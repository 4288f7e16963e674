// Names the result of each recording.
#pragma once

#include <string>
#include <vector>

#include "workflow/plan.h"

namespace clipchain {

// Names the output of each job, which are as many as the sequences and in their order. A recording
// whose result is in the folder keeps the name of that, and none gets a name that the result of
// another one has, so that it does not matter what else is joined, or in which order. Copies get no
// name. Notes the results that hold a part of a job's recording. Names do not depend on what is
// left out, so that they are the same under other options.
void NameOutputs(const std::vector<SequenceReport>& sequences, const std::string& folder,
                 std::vector<Job>& jobs);

}  // namespace clipchain
