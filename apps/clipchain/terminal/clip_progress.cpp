#include "clipchain/terminal/clip_progress.h"

#include <fmt/format.h>

#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

namespace {

// What is done before that needs no line.
constexpr double kSecondsToWait = 0.5;

}  // namespace

std::function<bool(std::size_t done, std::size_t count)> ClipProgress(const char* what,
                                                                      ProgressLine& line) {
  return [what, &line](std::size_t done, std::size_t count) {
    if (line.Seconds() > kSecondsToWait && line.IsDue())
      line.ShowText(fmt::format("{} clip {} of {}", what, done + 1, count));
    return StopSignal() == 0;
  };
}

}  // namespace clipchain
