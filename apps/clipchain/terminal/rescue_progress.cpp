#include "clipchain/terminal/rescue_progress.h"

#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

bool RescueProgress::Show(const RescueStep& step) {
  using Phase = RescueStep::Phase;
  if (step.phase != phase_) line_.StartPhase();
  phase_ = step.phase;
  if (phase_ == Phase::kFlushing) {
    line_.ShowText("waiting for the disk");
  } else if (phase_ == Phase::kLooking) {
    line_.ShowText("looking at the clips");
  } else if (line_.IsDue()) {
    CopyState state;
    state.clip = state.clips = 1;
    state.done = step.current;
    state.total = step.total;
    state.verifying = phase_ == Phase::kVerifying;
    line_.Show(state);
  }
  return StopSignal() == 0;
}

}  // namespace clipchain
