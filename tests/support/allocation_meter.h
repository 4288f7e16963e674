// How much memory a piece of code takes from operator new. Programs that use it have that operator
// replaced.
#pragma once

#include <cstddef>

namespace support {

// Counts the thread's allocations from its construction on; one at a time in each thread.
class AllocationMeter {
 public:
  AllocationMeter();
  ~AllocationMeter();
  AllocationMeter(const AllocationMeter&) = delete;
  AllocationMeter& operator=(const AllocationMeter&) = delete;

  // The most bytes that were held at a time, beyond what was held at the start.
  std::size_t Peak() const;
  // The number of allocations.
  std::size_t Count() const;
};

}  // namespace support
