#include "target.h"

#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fuzz {

namespace {

// By processor time, so that a busy machine makes no findings.
void SetLimit(unsigned int seconds) {
  const itimerval timer{{0, 0}, {static_cast<time_t>(seconds), 0}};
  ::setitimer(ITIMER_PROF, &timer, nullptr);
}

extern "C" void OverLimit(int) {
  static constexpr char kMessage[] = "fuzz target: an input takes more than its time\n";
  [[maybe_unused]] const auto unreported = ::write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
  std::abort();
}

}  // namespace

void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "fuzz target: broken promise: %s\n", promise);
  std::abort();
}

}  // namespace fuzz

// What was freed is kept for a while to catch its use, but not as much as counts against the memory
// limit; one allocation must not be larger than 64 times the longest input.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=16:malloc_context_size=10:max_allocation_size_mb=64:"
         "allocator_may_return_null=0:handle_abort=0";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::signal(SIGPROF, fuzz::OverLimit);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size > fuzz::kLongestInput) return 0;
  fuzz::SetLimit(fuzz::kSeconds);
  fuzz::RunInput(data, size);
  fuzz::SetLimit(0);
  return 0;
}
