#include "clipchain/terminal/progress_line.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "workflow/findings/clip_words.h"

namespace clipchain {

namespace {

constexpr auto kBetweenDrawings = std::chrono::milliseconds(100);
// Before that the rate is a guess.
constexpr double kSecondsToKnowRate = 0.5;

std::string TimeLeft(const CopyState& state) {
  if (state.done <= 0 || state.seconds < kSecondsToKnowRate) return "-:--";
  const double rest = static_cast<double>(std::max(state.total - state.done, 0LL));
  const auto seconds =
      static_cast<long long>(rest * state.seconds / static_cast<double>(state.done));
  if (seconds < 3600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
  return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

std::string CopyText(const CopyState& state) {
  const long long done = std::clamp(state.done, 0LL, state.total);
  const long long percent = state.total > 0 ? done * 100 / state.total : 100;
  const double rate = state.seconds > 0 ? static_cast<double>(done) / state.seconds : 0;
  const std::string what = state.verifying
                               ? "verifying"
                               : fmt::format("{} {} of {}", state.unit, state.clip, state.clips);
  return fmt::format("{}  {} of {}  {} %  {}/s  {} left", what, Amount(done), Amount(state.total),
                     percent, Amount(static_cast<long long>(rate)), TimeLeft(state));
}

ProgressLine::ProgressLine(std::FILE* stream)
    : stream_(::isatty(::fileno(stream)) == 1 ? stream : nullptr) {}

ProgressLine::~ProgressLine() { Clear(); }

void ProgressLine::Show(CopyState state) {
  if (!IsDue()) return;
  state.seconds = std::chrono::duration<double>(Clock::now() - phase_).count();
  ShowText(CopyText(state));
}

bool ProgressLine::IsDue() const { return !visible_ || Clock::now() - shown_ >= kBetweenDrawings; }

void ProgressLine::ShowText(const std::string& text) {
  if (stream_ == nullptr) return;
  std::fputs(fmt::format("\r{}\x1B[K", text).c_str(), stream_);
  std::fflush(stream_);
  shown_ = Clock::now();
  visible_ = true;
}

// What the new phase shows first is not held back.
void ProgressLine::StartPhase() {
  phase_ = Clock::now();
  shown_ = {};
}

void ProgressLine::Clear() {
  if (!visible_) return;
  std::fputs("\r\x1B[K", stream_);
  std::fflush(stream_);
  visible_ = false;
}

double ProgressLine::Seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

}  // namespace clipchain
