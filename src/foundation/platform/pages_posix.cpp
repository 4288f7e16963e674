#include <sys/mman.h>

#include <cstdint>

#include "foundation/platform/pages.h"

namespace QUIRVA {

namespace {

constexpr std::uintptr_t kLargePage = 2 * 1024 * 1024;

// Bytes pass through a block of large pages about twice as fast. The front of the block keeps its
// small ones: a user of a few bytes then has a few small pages cleared, and not a large one.
void PreferLargePages([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
  const auto start = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t from = (start + 2 * kLargePage - 1) / kLargePage * kLargePage;
  const std::uintptr_t end = (start + size) / kLargePage * kLargePage;
  // A system without large pages refuses, and nothing is lost.
  if (from < end) ::madvise(reinterpret_cast<void*>(from), end - from, MADV_HUGEPAGE);
#endif
}

}  // namespace

void* AllocatePages(std::size_t size) {
  void* block = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (block == MAP_FAILED) return nullptr;
  PreferLargePages(block, size);
  return block;
}

void FreePages(void* block, std::size_t size) { ::munmap(block, size); }

}  // namespace QUIRVA
