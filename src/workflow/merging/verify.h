// Whether a merged file is what its clips add up to, found out by reading it again.
#pragma once

#include <string>
#include <vector>

#include "workflow/finding.h"
#include "workflow/merging/sample_oracle.h"
#include "workflow/progress.h"

namespace clipchain {

struct VerifyTask {
  const std::vector<std::string>& inputs;  // in the order in which they were merged
  std::string output;                      // as findings name it
  int file;                                // a descriptor to read the output through
  bool everyByte = false;  // compare all media with the clips', not only where clips meet
  // Told how much of the media was compared; false ends the work without a finding.
  Progress progress;
  // What was adapted so that the clips fit each other; null: the engine alone made the output.
  const Intended* intended = nullptr;
};

// Parses the output and looks whether its boxes fill the file, and whether every sample is that of
// the clips in a row (`CompareSamples`). What the engine alone made must besides be, around the
// media and byte for byte, what a merge of the clips writes, each chunk where the copied media puts
// it, with the sums of the clips. Nothing is found in a file that passes.
Findings Verify(const VerifyTask& task);

}  // namespace clipchain
