#include "clipchain/terminal/merge_progress.h"

#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

bool MergeProgress::Show(const Step& step) {
  using Phase = Step::Phase;
  if (step.phase != phase_) line_.StartPhase();
  phase_ = step.phase;
  CopyState state;
  state.clip = static_cast<unsigned int>(step.clip) + 1;
  state.clips = static_cast<unsigned int>(clips_);
  state.done = step.current;
  state.total = step.total;
  // Nobody knows how far a flush is.
  if (phase_ == Phase::kFlushing) {
    line_.ShowText("waiting for the disk");
  } else if (phase_ == Phase::kChecking) {
    if (line_.IsDue()) line_.ShowText("checking the clips");
  } else {
    state.verifying = phase_ == Phase::kVerifying;
    line_.Show(state);
  }
  return StopSignal() == 0;
}

}  // namespace clipchain
