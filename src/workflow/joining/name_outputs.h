// Names the result of each recording.
#pragma once

#include <functional>
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

// Names the outputs of those jobs anew that hold a rescued clip, as `isRescued` tells of an input,
// with the mark of one, by the same rules.
void NameRescuedOutputs(const std::function<bool(const std::string&)>& isRescued,
                        const std::string& folder, std::vector<Job>& jobs);

}  // namespace clipchain
