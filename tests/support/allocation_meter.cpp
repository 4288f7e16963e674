#include "support/allocation_meter.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

struct Counters {
  bool active;
  long long held;
  long long peak;
  std::size_t count;
  std::size_t refused;  // number of the allocation that fails, from 1; 0 for none
};
thread_local Counters counters{};

}  // namespace

void* operator new(std::size_t size) {
  if (counters.active && ++counters.count == counters.refused) throw std::bad_alloc();
  void* block = std::malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  if (counters.active) {
    counters.held += static_cast<long long>(malloc_usable_size(block));
    counters.peak = std::max(counters.peak, counters.held);
  }
  return block;
}

// A sanitizer has one of its own, whose blocks would come to the deletion below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* block) noexcept {
  if (block != nullptr && counters.active)
    counters.held -= static_cast<long long>(malloc_usable_size(block));
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace support {

AllocationMeter::AllocationMeter() { counters = {true, 0, 0, 0, 0}; }
AllocationMeter::~AllocationMeter() { counters.active = false; }
std::size_t AllocationMeter::Peak() const { return static_cast<std::size_t>(counters.peak); }
std::size_t AllocationMeter::Count() const { return counters.count; }
long long AllocationMeter::Held() const { return counters.held; }
void AllocationMeter::Refuse(std::size_t index) { counters.refused = index + 1; }

}  // namespace support
