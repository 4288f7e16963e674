// Checks whether a merged file is what its clips add up to, by reading it again.
#pragma once

#include <string>
#include <vector>

#include "workflow/assembling/merge_image.h"
#include "workflow/finding.h"
#include "workflow/progress.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

class Fit;

struct VerifyTask {
  // In the order in which they were merged.
  const std::vector<std::string>& inputs;
  // What the output is to be.
  const MergeImage& image;
  // As findings name it.
  std::string output;
  // Reads the output.
  FileBytes& file;
  // Compare all media with the clips', not only where clips meet.
  bool everyByte = false;
  // Told how much of the media was compared; false ends the work without a finding.
  Progress progress{};
  // By which the clips were adapted; null: the engine alone made the output.
  const Fit* fit = nullptr;
  // Titles of the chapters that its clips begin; empty: it was not to get any.
  std::vector<std::string> chapters{};
};

// Looks whether the file is, byte for byte, what its image says, and whether every sample that can
// be read off it is that of the clips in a row (`CompareSamples`), by readers that know nothing of
// how the image was made. A file that is its image, and says something else than its clips, differs
// because of a clip; one that is not is damaged. Nothing is found in a file that passes.
Findings Verify(const VerifyTask& task);

// The second half of it alone.
Findings VerifySamples(const VerifyTask& task);

}  // namespace clipchain
