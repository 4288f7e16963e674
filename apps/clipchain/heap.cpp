#include "clipchain/heap.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace clipchain {

namespace {

constexpr int kMegabyte = 1024 * 1024;
constexpr std::uintptr_t kLargePage = 2 * kMegabyte;
// Addresses alone, which take no memory until something stands there.
constexpr int kReserved = 128 * kMegabyte;

// Each page that is used for the first time is a fault, and with pages of 4 KiB these faults take a
// quarter of the time in which clips with many samples are checked.
void GrowIntoLargePages() {
#ifdef MADV_HUGEPAGE
  mallopt(M_TOP_PAD, kReserved);
  void* const block = std::malloc(kMegabyte);
  if (block == nullptr) return;
  const std::uintptr_t used = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t first = (used + kMegabyte) / kLargePage * kLargePage + kLargePage;
  const std::uintptr_t end = reinterpret_cast<std::uintptr_t>(sbrk(0)) / kLargePage * kLargePage;
  std::free(block);
  if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

}  // namespace

// Tables of one clip after the other come and go; to give their memory back to the system in
// between costs more than to read them.
void PrepareHeap() {
  mallopt(M_MMAP_THRESHOLD, 32 * kMegabyte);
  mallopt(M_TRIM_THRESHOLD, 2 * kReserved);
  GrowIntoLargePages();
  mallopt(M_TOP_PAD, 4 * kMegabyte);
}

}  // namespace clipchain
