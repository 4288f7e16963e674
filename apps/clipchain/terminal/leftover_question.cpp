#include "clipchain/terminal/leftover_question.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "clipchain/terminal/stop_signals.h"
#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

bool IsOnTerminal() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

bool AskYesNo(const std::string& question) {
  std::fputs(question.c_str(), stderr);
  std::string answer;
  // Byte by byte from the descriptor: a buffered read could not be left by a signal, and would take
  // what is typed for the next question.
  for (char c = 0; WaitForInput() && ::read(STDIN_FILENO, &c, 1) == 1 && c != '\n';) answer += c;
  return answer == "y" || answer == "yes";
}

std::function<bool(const Leftover&)> LeftoverQuestion(bool always, bool forPrograms,
                                                      ProgressLine& line) {
  if (always) return [](const Leftover&) { return true; };
  // Nobody would answer; what was left behind is then named, and stays.
  if (forPrograms || !IsOnTerminal()) return {};
  return [&line](const Leftover& leftover) {
    line.Clear();
    return AskYesNo(
        fmt::format("{} was left behind by a run that was killed, with {} in it. Remove it? [y/N] ",
                    PrintablePath(leftover.path), FormatBytes(leftover.size)));
  };
}

}  // namespace clipchain
