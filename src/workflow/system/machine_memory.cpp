#include "workflow/system/machine_memory.h"

#include <unistd.h>

#include <limits>

namespace clipchain {

long long HalfOfTheMachine() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long size = ::sysconf(_SC_PAGE_SIZE);
  // Where the system tells nothing, nothing is limited: an allocation that fails is told as such.
  if (pages <= 0 || size <= 0) return std::numeric_limits<long long>::max();
  // The other half is for the system and what else runs: a machine that swaps stands still.
  return static_cast<long long>(pages) * size / 2;
}

}  // namespace clipchain
