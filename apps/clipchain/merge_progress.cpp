#include "clipchain/merge_progress.h"

#include <algorithm>
#include <numeric>

#include "workflow/files.h"

namespace clipchain {

MergeProgress::MergeProgress(const std::vector<std::string>& inputs, ProgressLine& line)
    : line_(line) {
  for (const std::string& input : inputs) sizes_.push_back(FileSize(input));
  state_.clips = static_cast<unsigned int>(inputs.size());
  state_.total = std::accumulate(sizes_.begin(), sizes_.end(), 0LL);
}

void MergeProgress::StartInput() {
  if (state_.clip > 0) before_ += sizes_[state_.clip - 1];
  ++state_.clip;
  last_ = -1;
}

HRESULT MergeProgress::NotifyProgress(long long current, long long total) {
  stoodStill_ = current == last_ && current < total;
  if (stoodStill_) return E_ABORT;
  last_ = current;
  state_.done = before_ + std::min(current, total);
  line_.Show(state_);
  return S_OK;
}

}  // namespace clipchain
