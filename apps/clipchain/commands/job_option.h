// Reads --job FILE N of clipchain merge: one job of a plan, in place of clips and an output.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workflow/keep_originals.h"
#include "workflow/plan.h"
#include "workflow/safe_merge.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace clipchain {

// Adds the option; `values` gets the file and the number, which is a positive number by then.
CLI::Option* AddJobOption(CLI::App& command, std::vector<std::string>& values);

// Finds the job in its file, and how large its clips are; what is wrong if there is no such job.
std::optional<Finding> FindJob(const std::vector<std::string>& values, Job& job);

struct JobResult {
  // Done if the output is complete, verified and on the disk.
  SafeMergeReport merge;
  // It was there before.
  bool already = false;
};

// Merges, unless the output is there already and is what the job would give. The output that
// `options` names does not count.
JobResult MergeJob(const Job& job, const SafeMergeOptions& options, const KeepOptions& keep);

}  // namespace clipchain
