// Shows a rescue on the progress line.
#pragma once

#include "clipchain/terminal/progress_line.h"
#include "workflow/rescue.h"

namespace clipchain {

class RescueProgress {
 public:
  explicit RescueProgress(ProgressLine& line) : line_(line) {}

  // Draws the step; false if a signal asks for the end.
  bool Show(const RescueStep& step);

 private:
  ProgressLine& line_;
  RescueStep::Phase phase_ = RescueStep::Phase::kLooking;
};

}  // namespace clipchain
