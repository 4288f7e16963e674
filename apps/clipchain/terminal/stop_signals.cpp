#include "clipchain/terminal/stop_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

namespace clipchain {

namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t noted = 0;
bool diesOfPipes = false;
bool hasOutput = true;

void Note(int number) { noted = number; }

void SetHandler(int number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(number, &action, nullptr);
}

bool IsIgnored(int number) {
  struct sigaction present {};
  return ::sigaction(number, nullptr, &present) != 0 || present.sa_handler == SIG_IGN;
}

void DieOf(int number) {
  std::fflush(nullptr);
  // A shell sees by which signal a tool ended, and ends its own script after Ctrl-C.
  SetHandler(number, SIG_DFL);
  ::raise(number);
}

}  // namespace

void TakeWriteSignalsAsErrors() {
  diesOfPipes = !IsIgnored(SIGPIPE);
  SetHandler(SIGPIPE, SIG_IGN);
  // The write that is too large fails then, and is told of like any other.
  SetHandler(SIGXFSZ, SIG_IGN);
}

void KeepStandardStreams() {
  // Ahead of any file: it would get the number of a stream that is closed, and what is printed
  // would be written into it.
  hasOutput = ::fcntl(STDOUT_FILENO, F_GETFD) >= 0;
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // The lowest number that is free is the one that is missing.
    if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) < 0) return;
  }
}

bool HasStandardOutput() { return hasOutput; }

void NoteStopSignals() {
  for (const int number : kStopSignals) {
    // Whoever starts it with nohup has one ignored on purpose.
    if (!IsIgnored(number)) SetHandler(number, Note);
  }
}

int StopSignal() { return noted; }

// The signals are held back except while the call waits: one that came between the look and the
// wait would not end the wait.
bool WaitForInput() {
  sigset_t held;
  sigset_t before;
  ::sigemptyset(&held);
  for (const int number : kStopSignals) ::sigaddset(&held, number);
  if (::sigprocmask(SIG_BLOCK, &held, &before) != 0) return false;
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  const bool ready = noted == 0 && ::ppoll(&input, 1, nullptr, &before) == 1;
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  return ready && noted == 0;
}

void DieOfStopSignal() {
  if (noted != 0) DieOf(noted);
}

void DieOfClosedPipe() {
  if (diesOfPipes) DieOf(SIGPIPE);
}

}  // namespace clipchain
