// Shows a merge on the progress line.
#pragma once

#include <cstddef>

#include "clipchain/terminal/progress_line.h"
#include "workflow/progress.h"

namespace clipchain {

class MergeProgress {
 public:
  MergeProgress(std::size_t clips, ProgressLine& line) : clips_(clips), line_(line) {}

  // Draws the step; false if a signal asks for the end.
  bool Show(const Step& step);

 private:
  std::size_t clips_;
  ProgressLine& line_;
  Step::Phase phase_ = Step::Phase::kChecking;
};

}  // namespace clipchain
