#include "workflow/merging/copy_progress.h"

#include <algorithm>
#include <numeric>

#include "workflow/system/files.h"

namespace clipchain {

CopyProgress::CopyProgress(const std::vector<std::string>& inputs, const Progress& listener)
    : listener_(listener) {
  for (const std::string& input : inputs) sizes_.push_back(FileSize(input));
  total_ = std::accumulate(sizes_.begin(), sizes_.end(), 0LL);
}

void CopyProgress::StartInput() {
  // By what each clip had in the beginning, so that the sum ends at the total.
  if (started_ > 0) before_ += sizes_[started_ - 1];
  ++started_;
}

void CopyProgress::StartAgain() {
  started_ = 0;
  before_ = 0;
}

bool CopyProgress::Copied(long long bytes) {
  return Tell(Step::Phase::kCopying, before_ + bytes, total_);
}

bool CopyProgress::Tell(Step::Phase phase, long long current, long long total) {
  // What is written ahead of all media counts to the first clip.
  const std::size_t clip = std::max<std::size_t>(started_, 1) - 1;
  step_ = {phase, clip, current, total, sizes_.size()};
  return Ask();
}

bool CopyProgress::Ask() {
  if (listener_ && !listener_(step_)) stopped_ = true;
  return !stopped_;
}

}  // namespace clipchain
