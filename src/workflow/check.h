// Checks whether clips can be merged in an order, and what a person would regret about the result.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/fitting.h"
#include "workflow/progress.h"
#include "workflow/seam.h"

namespace clipchain {

struct CheckOptions {
  // The file that a merge would write; empty to check the inputs alone.
  std::string output;
  // An output that exists may be replaced.
  bool overwrite = false;
  // Bytes that the movie boxes may take; 0: half of the machine's memory.
  long long memoryLimit = 0;
  // How clips that do not fit as they are are adapted.
  Fitting fitting{};
  // Told before each clip; false ends the check.
  Progress progress{};
};

struct CheckReport {
  // File by file in the order given; what is about no file stands at the end.
  Findings findings;
  // One for each clip, the last is the end; empty if tracks do not match.
  std::vector<Seam> seams;
  // Bytes that the merged file takes, about.
  long long outputSize = 0;
  // What a merge would do to the clips, so that they fit; empty if it takes them as they are.
  std::vector<Adapted> adaptations;
  // The progress ended the check: there may be more to find, and a finding says so.
  bool stopped = false;
};

// Reads the inputs, of their media the first timecode at most, and writes nothing. Finds all there
// is to find: no finding hides another one. Clips that do not fit as they are are looked at as a
// merge adapts them. About the inputs only two things are errors: what the engine would refuse, and
// more tables than the memory may take. Inputs without an error are therefore inputs whose merge
// the engine completes.
[[nodiscard]] CLIPCHAIN_API CheckReport Check(const std::vector<std::string>& inputs,
                                              const CheckOptions& options);

}  // namespace clipchain
