// The line that tells how far a long copy is, redrawn in place.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace clipchain {

struct CopyState {
  unsigned int clip = 0;  // the one at work, from 1
  unsigned int clips = 0;
  long long done = 0;  // bytes, of all clips
  long long total = 0;
  double seconds = 0;  // since the start of the phase
  bool verifying = false;
  const char* unit = "clip";  // what is counted
};

// "clip 2 of 3  154.3 MB of 355.0 MB  43 %  210.4 MB/s  0:01 left", with "verifying" for the clip
// when what was copied is verified.
std::string CopyText(const CopyState& state);

// Writes to a terminal, at most ten times a second; to anything else nothing at all.
class ProgressLine {
 public:
  explicit ProgressLine(std::FILE* stream);
  ~ProgressLine();  // clears the line
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Fills in the seconds.
  void Show(CopyState state);
  // Whether what changes often is to be drawn again by now.
  bool IsDue() const;
  // Shows it at once: it may stand for long.
  void ShowText(const std::string& text);
  // Rate and time left count from here on.
  void StartPhase();
  void Clear();
  double Seconds() const;  // since construction

 private:
  using Clock = std::chrono::steady_clock;

  std::FILE* stream_;  // null if it is no terminal
  Clock::time_point start_ = Clock::now();
  Clock::time_point phase_ = start_;
  Clock::time_point shown_{};
  bool visible_ = false;
};

}  // namespace clipchain
