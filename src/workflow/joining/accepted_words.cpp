#include "workflow/joining/accepted_words.h"

#include <fmt/format.h>

namespace clipchain {

Finding AcceptedFinding(const Job& job) {
  return MakeFinding(
      Message::kProposalAccepted, job.inputs.front(),
      fmt::format("begins a recording of {} clips that was put together by evidence ({}): {}",
                  job.inputs.size(), GradeName(job.accepted.value_or(Grade::kPossible)),
                  job.evidence));
}

}  // namespace clipchain
