// Memory straight from the operating system.
#pragma once

#include <cstddef>

namespace QUIRVA {

inline constexpr std::size_t kLargePage = 2 * 1024 * 1024;

// `size` zero bytes, none of which takes memory before it is used; null if that much cannot be had.
// The memory goes back by FreePages alone, with the same size.
void* AllocatePages(std::size_t size);
// The same for a block that is going to be filled from front to back: its memory may come in large
// pages, and the last of them may be larger than the block.
void* AllocateFilledPages(std::size_t size);
// Has the system find and clear the memory of a part of such a block now; else it does so at the
// first use of each page. What stands there stays.
void PreparePages(void* begin, std::size_t size);
void FreePages(void* block, std::size_t size);

}  // namespace QUIRVA
