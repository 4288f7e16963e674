// Runs a join, with the work on each job to be chosen.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workflow/join.h"

namespace clipchain {

struct JobWork {
  std::function<SafeMergeReport(const std::vector<std::string>&, const SafeMergeOptions&)> merge =
      SafeMerge;
  // Empty: VerifyOutput, with the adaptations of the merges.
  std::function<Findings(const Job&, const Progress&)> verify{};
};

// Runs the jobs as Join() does.
JoinReport RunJobs(const JoinPlan& plan, const JoinOptions& options, const JobWork& work);

}  // namespace clipchain
