// cost               lists the jobs: name and n
// cost NAME N        does one; valgrind counts what happens inside Measured
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "cost_jobs.h"

extern "C" __attribute__((noinline)) void Measured(const std::function<void()>& operation) {
  operation();
  // So that the call is no jump out of this function.
  __asm__ volatile("");
}

namespace {

int Run(int argc, char** argv) {
  if (argc == 1) {
    for (const auto& [name, job] : cost::Jobs()) std::printf("%s\t%u\n", name.c_str(), job.n);
    return 0;
  }
  if (argc != 3) return 1;
  Measured(cost::Jobs().at(argv[1]).make(static_cast<unsigned int>(std::atoi(argv[2]))));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "cost: %s\n", error.what());
    return 1;
  }
}
