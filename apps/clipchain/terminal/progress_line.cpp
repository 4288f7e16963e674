#include "clipchain/terminal/progress_line.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "workflow/findings/clip_words.h"

namespace clipchain {

namespace {

constexpr auto kBetweenDrawings = std::chrono::milliseconds(100);
// Before that the rate is a guess.
constexpr double kSecondsToKnowRate = 0.5;
constexpr std::size_t kWidestName = 40;

// Whether the terminal can go back to the start of a line and clear it.
bool GoesBack() {
  const char* const terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) != "dumb";
}

std::string TimeLeft(const CopyState& state) {
  if (state.done <= 0 || state.seconds < kSecondsToKnowRate) return "-:--";
  const double rest = static_cast<double>(std::max(state.total - state.done, 0LL));
  const auto seconds =
      static_cast<long long>(rest * state.seconds / static_cast<double>(state.done));
  if (seconds < 3600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
  return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

// What a line is made of. Where it is too long, parts of a higher rank go first.
struct Part {
  std::string text;
  int rank;
};

std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    // No continuation in UTF-8.
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

std::string Joined(const std::vector<Part>& parts, int highest) {
  std::string text;
  for (const Part& part : parts) {
    if (part.text.empty() || part.rank > highest) continue;
    text += (text.empty() ? "" : "  ") + part.text;
  }
  return text;
}

}  // namespace

std::string CutText(const std::string& text, std::size_t columns) {
  if (WidthOf(text) <= columns) return text;
  std::size_t end = 0;
  for (std::size_t column = 0; column < columns; ++column) {
    do ++end;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80);
  }
  return text.substr(0, end);
}

std::string CopyText(const CopyState& state, std::size_t columns) {
  const long long done = std::clamp(state.done, 0LL, state.total);
  const long long percent = state.total > 0 ? done * 100 / state.total : 100;
  const double rate = state.seconds > 0 ? static_cast<double>(done) / state.seconds : 0;
  const std::string what = state.verifying
                               ? "verifying"
                               : fmt::format("{} {} of {}", state.unit, state.clip, state.clips);
  const std::vector<Part> parts = {
      {what, 1},
      {state.phase, 2},
      {CutText(state.name, kWidestName), 4},
      {fmt::format("{} of {}", FormatBytes(done), FormatBytes(state.total)), 5},
      {fmt::format("{} %", percent), 0},
      {fmt::format("{}/s", FormatBytes(static_cast<long long>(rate))), 6},
      {fmt::format("{} left", TimeLeft(state)), 3}};
  int highest = 6;
  while (highest > 0 && WidthOf(Joined(parts, highest)) > columns) --highest;
  return Joined(parts, highest);
}

ProgressLine::ProgressLine(std::FILE* stream, bool quiet)
    : stream_(!quiet && ::isatty(::fileno(stream)) == 1 && GoesBack() ? stream : nullptr) {}

ProgressLine::~ProgressLine() { Clear(); }

void ProgressLine::Show(CopyState state) {
  // A terminal that draws each block would take as long as the copy.
  if (!IsDue()) return;
  state.seconds = std::chrono::duration<double>(Clock::now() - phase_).count();
  ShowText(CopyText(state, Columns()));
}

// The last column is left free: a line that fills it goes on below on some terminals.
std::size_t ProgressLine::Columns() const {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool isKnown =
      stream_ != nullptr && ::ioctl(::fileno(stream_), TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return (isKnown ? size.ws_col : kUsual) - 1;
}

bool ProgressLine::IsDue() const { return !visible_ || Clock::now() - shown_ >= kBetweenDrawings; }

void ProgressLine::ShowText(const std::string& text) {
  if (stream_ == nullptr) return;
  std::fputs(fmt::format("\r{}\x1B[K", CutText(text, Columns())).c_str(), stream_);
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
