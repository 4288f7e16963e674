// Moves the chunk offsets of a complete movie box.
#pragma once

#include <cstdint>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// Adds to every chunk offset of the movie box, modulo 2^64; a table of 32 bits that can't hold them
// any more gets 64 ("co64"), which makes the box larger. False, and nothing is moved: it is no
// movie box, or has a table that is shorter than it says.
[[nodiscard]] bool MoveOffsets(Bytes& movie, std::uint64_t by);

}  // namespace clipchain
