// Shows the work on all recordings together on the progress line.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "clipchain/terminal/progress_line.h"
#include "workflow/progress.h"

namespace clipchain {

class JoinProgress {
 public:
  // `files`: what the recordings at work become, in their order.
  JoinProgress(std::vector<std::string> files, ProgressLine& line)
      : files_(std::move(files)), line_(line) {}

  // Draws the step; false if a signal asks for the end.
  bool Show(const Step& step);

 private:
  const std::vector<std::string> files_;
  ProgressLine& line_;
};

}  // namespace clipchain
