// Tells whoever listens to a merge how far it is.
#pragma once

#include <string>
#include <vector>

#include "workflow/progress.h"

namespace clipchain {

// Adds up the progress of the inputs and hands it on.
class CopyProgress {
 public:
  // Both must outlive this object; the listener may be empty.
  CopyProgress(const std::vector<std::string>& inputs, const Progress& listener);

  // To be called before each input is copied.
  void StartInput();
  // None of the inputs has been copied.
  void StartAgain();
  // So many bytes of the input at work are copied; whether to go on.
  bool Copied(long long bytes);

  // Reports a phase, with all copied that has been so far; whether to go on. `current` of `total`
  // is the part of that phase that is done.
  bool Tell(Step::Phase phase, long long current, long long total);
  bool Tell(Step::Phase phase) { return Tell(phase, 0, total_); }

  // Tells the last step once more, for whoever wants to stop meanwhile; whether to go on.
  bool Ask();

  bool Stopped() const { return stopped_; }

 private:
  const Progress& listener_;
  std::vector<long long> sizes_;
  // Inputs.
  std::size_t started_ = 0;
  long long total_ = 0;
  // Bytes of the inputs that are done.
  long long before_ = 0;
  // As it was told last.
  Step step_{};
  bool stopped_ = false;
};

}  // namespace clipchain
