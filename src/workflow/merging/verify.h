// Checks whether a merged file is what its clips add up to, by reading it again.
#pragma once

#include <string>
#include <vector>

#include "workflow/boxes/top_level.h"
#include "workflow/finding.h"
#include "workflow/merging/sample_oracle.h"
#include "workflow/progress.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

class Fit;

struct VerifyTask {
  // In the order in which they were merged.
  const std::vector<std::string>& inputs;
  // As findings name it.
  std::string output;
  // Reads the output.
  FileBytes& file;
  // Compare all media with the clips', not only where clips meet.
  bool everyByte = false;
  // Told how much of the media was compared; false ends the work without a finding.
  Progress progress;
  // By which the clips were adapted; null: the engine alone made the output.
  const Fit* fit = nullptr;
  // What the output was to be; one of another layout is damaged.
  Layout layout{};
  // Titles of the chapters that its clips begin; empty: it was not to get any.
  std::vector<std::string> chapters{};
};

// Parses the output and looks whether its boxes fill the file, and whether every sample is that of
// the clips in a row (`CompareSamples`). All around the media must besides be, byte for byte, what
// a merge of the clips writes, each chunk where the copied media puts it, with the sums of the
// clips; those that were adapted are looked at in their views, and the output as the engine would
// see it. Nothing is found in a file that passes.
Findings Verify(const VerifyTask& task);

}  // namespace clipchain
