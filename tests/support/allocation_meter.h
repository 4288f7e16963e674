// How much memory a piece of code takes from operator new, and what it does where there is no more.
// Programs that use it have that operator replaced.
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
  // The number of allocations, a refused one included.
  std::size_t Count() const;
  // The bytes that are held now, beyond what was held at the start.
  long long Held() const;
  // Allocation number `index`, from 0 and from the start, is refused with std::bad_alloc.
  void Refuse(std::size_t index);
};

}  // namespace support
