#include "clipchain/terminal/standard_output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/system/files.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

// Of the first write that failed. The stream forgets it, and what it had in its buffer.
std::error_code failure;

void Note(bool taken) {
  if (!taken && !failure) failure = LastError();
}

}  // namespace

void Print(std::string_view text) {
  if (OutputFailed() || text.empty()) return;
  // What stands in place of a stream that is closed takes everything, and nobody reads it.
  if (!HasStandardOutput()) errno = EBADF;
  Note(HasStandardOutput() && std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

void FlushOutput() {
  if (!OutputFailed()) Note(std::fflush(stdout) == 0);
}

bool OutputFailed() { return static_cast<bool>(failure); }

int EndOutput(int exitCode) {
  FlushOutput();
  if (!OutputFailed()) return exitCode;
  // As other tools end in front of "head", which has all that it wants.
  if (failure == std::errc::broken_pipe) DieOfClosedPipe();
  std::fputs(
      fmt::format("clipchain: not all of the output could be written: {}\n", ErrorText(failure))
          .c_str(),
      stderr);
  return kFailed;
}

}  // namespace clipchain
