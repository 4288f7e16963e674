#include "clipchain/terminal/clip_progress.h"

#include <fmt/format.h>

#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

namespace {

// What is done before that needs no line.
constexpr double kSecondsToWait = 0.5;

}  // namespace

Progress ClipProgress(const char* what, ProgressLine& line) {
  return [what, &line](const Step& step) {
    if (line.Seconds() > kSecondsToWait && line.IsDue())
      line.ShowText(step.phase == Step::Phase::kSearching
                        ? fmt::format("searching folders: {} clips so far", step.clip)
                        : fmt::format("{} clip {} of {}", what, step.clip + 1, step.clips));
    return StopSignal() == 0;
  };
}

}  // namespace clipchain
