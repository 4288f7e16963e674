// Counts the boxes that a tree will have, before anything is parsed.
#pragma once

#include <cstddef>
#include <span>

namespace clipchain {

// The boxes in the bytes of a box at the top level, that one included, as far as a parser would get
// with them. The descriptors of an "esds" count as boxes where it is larger than they need.
std::size_t CountBoxes(std::span<const unsigned char> bytes);

}  // namespace clipchain
