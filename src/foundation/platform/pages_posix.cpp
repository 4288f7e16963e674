#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include "foundation/platform/pages.h"

namespace QUIRVA {

namespace {

// Blocks of large pages and more end with a whole one: systems that have such pages then let the
// block begin at one too.
std::size_t MappedSize(std::size_t size) {
  const std::size_t whole = (size + kLargePage - 1) / kLargePage * kLargePage;
  return size < kLargePage || whole < size ? size : whole;
}

void* Map(std::size_t size) {
  void* block =
      ::mmap(nullptr, MappedSize(size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return block == MAP_FAILED ? nullptr : block;
}

// Bytes pass through large pages about twice as fast. The first `small` bytes keep small ones.
void PreferLargePages([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size,
                      [[maybe_unused]] std::size_t small) {
#ifdef MADV_HUGEPAGE
  const auto start = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t from = (start + small + kLargePage - 1) / kLargePage * kLargePage;
  const std::uintptr_t end = (start + MappedSize(size)) / kLargePage * kLargePage;
  // A system without large pages refuses, and nothing is lost.
  if (from < end) ::madvise(reinterpret_cast<void*>(from), end - from, MADV_HUGEPAGE);
#endif
}

}  // namespace

void* AllocatePages(std::size_t size) {
  void* block = Map(size);
  // A user of a few bytes has a few small pages cleared, and not a large one.
  if (block != nullptr) PreferLargePages(block, size, kLargePage);
  return block;
}

void* AllocateFilledPages(std::size_t size) {
  void* block = Map(size);
  if (block != nullptr) PreferLargePages(block, size, 0);
  return block;
}

void PreparePages([[maybe_unused]] void* begin, [[maybe_unused]] std::size_t size) {
#ifdef MADV_POPULATE_WRITE
  const auto start = reinterpret_cast<std::uintptr_t>(begin);
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const std::uintptr_t from = (start + page - 1) / page * page;
  const std::uintptr_t end = (start + size) / page * page;
  // Older systems refuse, and nothing is lost.
  if (from < end) ::madvise(reinterpret_cast<void*>(from), end - from, MADV_POPULATE_WRITE);
#endif
}

void FreePages(void* block, std::size_t size) { ::munmap(block, MappedSize(size)); }

}  // namespace QUIRVA
