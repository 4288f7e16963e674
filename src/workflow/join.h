// Doing what a plan says, one sequence after the other.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/plan.h"
#include "workflow/safe_merge.h"

namespace clipchain {

enum class Outcome {
  kMerged,   // the output is there now
  kAlready,  // the output was there, and is what the inputs give
  kFailed,   // the findings say why; an output that was there is as it was
  kLeftOut,  // as planned
  kNotRun    // the work was stopped before
};

// "merged", "already there", "failed", "left out", "not run".
CLIPCHAIN_API std::string_view OutcomeName(Outcome outcome);

struct JobReport {
  Outcome outcome = Outcome::kNotRun;
  Findings findings;      // the plan's and those of the merge, or of the look at the output
  long long size = 0;     // of the output, if it is there
  HRESULT result = S_OK;  // the engine's last code
  double seconds = 0;     // that the job took
};

struct JoinStep {
  std::size_t job;   // the one at work, counted from 1 among those that are not left out
  std::size_t jobs;  // that are not left out
  MergeStep::Phase phase;
  std::size_t clip;  // index of the input of that job that is copied
  // Bytes over all jobs together: those to copy, those to verify where every byte is, and those of
  // outputs that are there already. What a job that failed left undone counts no more.
  long long current;
  long long total;
};

// Asked in the course of a verification; false ends it.
using VerifyProgress = std::function<bool(long long current, long long total)>;

// Flushes the output of a job to the disk and compares it with what its inputs give, every byte.
// Nothing is found if it is that, and the inputs are needed no more. What is an error there is as
// for a merge that verifies its own result.
[[nodiscard]] CLIPCHAIN_API Findings VerifyOutput(const Job& job, const VerifyProgress& progress);

struct JoinOptions {
  bool force = false;                                // as for a merge
  Verification verification = Verification::kSeams;  // of what is merged now
  long long memoryLimit = 0;
  std::function<bool(const Leftover&)> removeLeftover;
  // Told about each step; false stops the work: the merge that is going on leaves nothing behind,
  // and what is left is not run. May be empty.
  std::function<bool(const JoinStep&)> progress;

  // Replaced where the work itself is to be tested.
  std::function<SafeMergeReport(const std::vector<std::string>&, const SafeMergeOptions&)> merge =
      SafeMerge;
  std::function<Findings(const Job&, const VerifyProgress&)> verify = VerifyOutput;
};

struct JoinReport {
  std::vector<JobReport> jobs;  // one for each job of the plan
  bool stopped = false;         // `progress` said so
};

// Runs the jobs that are not left out. One that fails does not keep the others from being run. An
// output that is there already is never replaced: either every byte of it is what the job would
// give, and the job is done, or the job fails. The last component of an output's folder is created
// if it is missing.
[[nodiscard]] CLIPCHAIN_API JoinReport Join(const JoinPlan& plan, const JoinOptions& options);

// Creates the last component of a folder's path if it is missing. What speaks against it, if
// anything does.
[[nodiscard]] CLIPCHAIN_API std::optional<Finding> MakeFolder(const std::string& path);

}  // namespace clipchain
