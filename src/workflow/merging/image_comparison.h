// Compares a file with the image of what it is to be.
#pragma once

#include <string>
#include <vector>

#include "workflow/assembling/merge_image.h"
#include "workflow/finding.h"
#include "workflow/progress.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

struct ImageComparison {
  // Of the image.
  const std::vector<std::string>& clips;
  const MergeImage& image;
  // As findings name the file.
  const std::string& output;
  FileBytes& file;
  // Compares the media with the clips', too, and not only what stands in no clip.
  bool everyByte = false;
  // Told how much of the media was compared; false ends the work without a finding.
  Progress progress{};
};

// The first difference, if there is one.
Findings CompareWithImage(const ImageComparison& task);

}  // namespace clipchain
