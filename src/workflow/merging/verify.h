// Whether a merged file is what its clips add up to, found out by reading it again.
#pragma once

#include <string>
#include <vector>

#include "workflow/finding.h"
#include "workflow/progress.h"

namespace clipchain {

struct VerifyTask {
  const std::vector<std::string>& inputs;  // in the order in which they were merged
  std::string output;                      // as findings name it
  int file;                                // a descriptor to read the output through
  bool everyByte = false;  // compare all media with the clips', not only where clips meet
  // Told how much of the media was compared; false ends the work without a finding.
  Progress progress;
};

// Parses the output and looks whether its boxes fill the file; whether samples, chunks, durations
// and sizes are those of the clips in a row; whether each chunk lies where the copied media puts
// it, inside the media; whether the bytes of the first and last sample of each clip's tracks, or
// all bytes of the media, are the clips'; whether all that stands around the media is, byte for
// byte, what a merge of the clips writes. Nothing is found in a file that passes.
Findings Verify(const VerifyTask& task);

}  // namespace clipchain
