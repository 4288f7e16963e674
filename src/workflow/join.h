// Runs a plan, one recording after the other.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/fitting.h"
#include "workflow/folders.h"
#include "workflow/keep_originals.h"
#include "workflow/plan.h"
#include "workflow/safe_merge.h"

namespace clipchain {

enum class Outcome {
  // The output is there now.
  kMerged,
  // The output was there, and is what the inputs give.
  kAlready,
  // The findings say why; an output that was there is as it was.
  kFailed,
  // As planned.
  kLeftOut,
  // The work was stopped before.
  kNotRun
};

// "merged", "already there", "failed", "left out", "not run".
CLIPCHAIN_API std::string_view OutcomeName(Outcome outcome);

struct JobReport {
  Outcome outcome = Outcome::kNotRun;
  // The plan's and those of the merge, or of the look at the output.
  Findings findings;
  // Of a merge that was made now.
  std::vector<Adapted> adaptations;
  // Of the output, if it is there.
  long long size = 0;
  // Of a merge that was made now, as it reports it.
  long long shared = 0;
  // The engine's last code.
  HRESULT result = S_OK;
  // That the job took.
  double seconds = 0;
};

// Flushes the output of a job to the disk and compares every byte of it with what its inputs give;
// with full verification these are read back from the disk. No finding means that they are the
// same, and that the inputs are needed no more. The findings are those of a merge that verifies its
// own result.
[[nodiscard]] CLIPCHAIN_API Findings VerifyOutput(const Job& job, const Progress& progress,
                                                  const Fitting& fitting = {},
                                                  Verification verification = Verification::kSeams);

struct JoinOptions {
  // Of each merge. The output is each job's own and never replaced. The progress is told about the
  // steps of all jobs; where it answers false, the merge that is going on leaves nothing behind,
  // and what is left is not run.
  SafeMergeOptions merge;
  // Replaces, and removes, results that hold a part of a recording once the result that holds more
  // of it is there. Only what is byte for byte what the clips of that part give is touched.
  bool update = false;
  // What is written beside each result, those that are there already too; in place of a companion.
  KeepOptions keep{};
};

struct JoinReport {
  // One for each job of the plan.
  std::vector<JobReport> jobs;
  // The progress said so.
  bool stopped = false;
};

// Runs the jobs that are not left out. One that fails does not keep the others from being run. An
// output that is there already is never replaced: either every byte of it is what the job would
// give, and the job is done, or the job fails. The last component of an output's folder is created
// if it is missing.
[[nodiscard]] CLIPCHAIN_API JoinReport Join(const JoinPlan& plan, const JoinOptions& options);

}  // namespace clipchain
