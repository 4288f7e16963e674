#include "clipchain/terminal/standard_output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"

namespace clipchain {

namespace {

// The system's number of the first failure. The stream forgets it, and what it had in its buffer.
int failure = 0;

void Note(bool taken) {
  if (!taken && failure == 0) failure = errno;
}

}  // namespace

void Print(std::string_view text) {
  if (OutputFailed()) return;
  Note(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

void FlushOutput() {
  if (!OutputFailed()) Note(std::fflush(stdout) == 0);
}

bool OutputFailed() { return failure != 0; }

int EndOutput(int exitCode) {
  FlushOutput();
  if (!OutputFailed()) return exitCode;
  if (failure == EPIPE) DieOfClosedPipe();
  const std::string why = std::generic_category().message(failure);
  std::fputs(fmt::format("clipchain: not all of the output could be written: {}\n", why).c_str(),
             stderr);
  return kFailed;
}

}  // namespace clipchain
