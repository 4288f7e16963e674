#include "clipchain/terminal/join_progress.h"

#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

bool JoinProgress::Show(const Step& step) {
  CopyState state;
  state.unit = "recording";
  state.clip = static_cast<unsigned int>(step.job);
  state.clips = static_cast<unsigned int>(step.jobs);
  state.done = step.current;
  state.total = step.total;
  line_.Show(state);
  return StopSignal() == 0;
}

}  // namespace clipchain
