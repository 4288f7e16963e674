#include "clipchain/terminal/join_progress.h"

#include <filesystem>

#include "clipchain/terminal/stop_signals.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

const char* PhaseWords(Step::Phase phase) {
  switch (phase) {
    case Step::Phase::kCopying:
      return "copying";
    case Step::Phase::kVerifying:
      return "verifying";
    case Step::Phase::kFlushing:
      return "waiting for the disk";
    default:
      return "checking";
  }
}

}  // namespace

bool JoinProgress::Show(const Step& step) {
  CopyState state;
  state.unit = "recording";
  state.clip = static_cast<unsigned int>(step.job);
  state.clips = static_cast<unsigned int>(step.jobs);
  state.phase = PhaseWords(step.phase);
  if (step.job > 0 && step.job <= files_.size())
    state.name = PrintablePath(std::filesystem::path(files_[step.job - 1]).filename().string());
  state.done = step.current;
  state.total = step.total;
  line_.Show(state);
  return StopSignal() == 0;
}

}  // namespace clipchain
