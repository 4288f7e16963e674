// Hands the progress of the engine on to who listens to a merge.
#pragma once

#include <string>
#include <vector>

#include "merge/live_merge.h"
#include "workflow/progress.h"

namespace clipchain {

// Adds up the progress of the inputs, hands it on, and ends a copy that stands still.
class CopyProgress final : public MP4G::IMp4LiveMergeDelegate {
 public:
  // Both must outlive this object; the listener may be empty.
  CopyProgress(const std::vector<std::string>& inputs, const Progress& listener);

  // To be called before each input is copied.
  void StartInput();
  // None of the inputs has been copied.
  void StartAgain();

  // E_ABORT if the listener says so, or if the copy made no step since the last call: the input
  // ends before its media does, and nobody else would end the copy.
  [[nodiscard]] HRESULT NotifyProgress(long long current, long long total) override;

  // Reports a phase, with all copied that has been so far; whether to go on. `current` of `total`
  // is the part of that phase that is done.
  bool Tell(Step::Phase phase, long long current, long long total);
  bool Tell(Step::Phase phase) { return Tell(phase, 0, total_); }

  // Tells the last step once more, for whoever wants to stop meanwhile; whether to go on.
  bool Ask();

  bool StoodStill() const { return stoodStill_; }
  bool Stopped() const { return stopped_; }

 private:
  const Progress& listener_;
  std::vector<long long> sizes_;
  // Inputs.
  std::size_t started_ = 0;
  long long total_ = 0;
  // Bytes of the inputs that are done.
  long long before_ = 0;
  // What the last call of this input said.
  long long last_ = -1;
  // As it was told last.
  Step step_{};
  bool stoodStill_ = false;
  bool stopped_ = false;
};

}  // namespace clipchain
