// Draws the line that tells how far long work is, again and again in its place.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace clipchain {

struct CopyState {
  // The one at work, from 1.
  unsigned int clip = 0;
  unsigned int clips = 0;
  // Bytes, of all clips.
  long long done = 0;
  long long total = 0;
  // Since the start of the phase.
  double seconds = 0;
  bool verifying = false;
  // What is counted.
  const char* unit = "clip";
  // What is done with a recording.
  const char* phase = "";
  // Of its file.
  std::string name{};
};

// "clip 2 of 3  154.3 MB of 355.0 MB  43 %  210.4 MB/s  0:01 left", with "verifying" for the clip
// when what was copied is verified, and with what is done and the name behind the number of a
// recording. What matters least is left out where that has more than `columns` columns.
std::string CopyText(const CopyState& state, std::size_t columns = 1000);

// The text, cut at its end where it has more than that many characters.
std::string CutText(const std::string& text, std::size_t columns);

// Writes to a terminal that can go back to the start of a line, at most ten times a second; to
// anything else, or where nobody wants it, nothing at all.
class ProgressLine {
 public:
  explicit ProgressLine(std::FILE* stream, bool quiet = false);
  // Clears the line.
  ~ProgressLine();
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
  // Since construction.
  double Seconds() const;

 private:
  std::size_t Columns() const;

  using Clock = std::chrono::steady_clock;

  // Null if it is no terminal.
  std::FILE* stream_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point phase_ = start_;
  Clock::time_point shown_{};
  bool visible_ = false;
};

}  // namespace clipchain
