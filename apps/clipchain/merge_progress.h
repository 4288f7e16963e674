// The tool's ear at a merge.
#pragma once

#include <string>
#include <vector>

#include "clipchain/progress_line.h"
#include "merge/live_merge.h"

namespace clipchain {

// Adds up the progress of the inputs, shows it, and ends a copy that stands still.
class MergeProgress final : public MP4G::IMp4LiveMergeDelegate {
 public:
  MergeProgress(const std::vector<std::string>& inputs, ProgressLine& line);

  // To be called before each input.
  void StartInput();

  // E_ABORT if the copy made no step since the last call: the input ends before its media does, and
  // nobody else would end the copy.
  [[nodiscard]] HRESULT NotifyProgress(long long current, long long total) override;

  bool StoodStill() const { return stoodStill_; }

 private:
  std::vector<long long> sizes_;
  ProgressLine& line_;
  CopyState state_;
  long long before_ = 0;  // bytes of the inputs that are done
  long long last_ = -1;   // what the last call of this input said
  bool stoodStill_ = false;
};

}  // namespace clipchain
