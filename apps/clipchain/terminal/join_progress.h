// The work on all sequences together as the progress line shows it.
#pragma once

#include "clipchain/terminal/progress_line.h"
#include "workflow/progress.h"

namespace clipchain {

class JoinProgress {
 public:
  explicit JoinProgress(ProgressLine& line) : line_(line) {}

  // Draws the step; false if a signal asks for the end.
  bool Show(const Step& step);

 private:
  ProgressLine& line_;
};

}  // namespace clipchain
