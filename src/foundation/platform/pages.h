// Memory straight from the operating system.
#pragma once

#include <cstddef>

namespace QUIRVA {

// `size` zero bytes, none of which takes memory before it is used; null if that much cannot be had.
// The memory goes back by FreePages alone, with the same size.
void* AllocatePages(std::size_t size);
void FreePages(void* block, std::size_t size);

}  // namespace QUIRVA
