// Counts the blocks of a JPEG picture, by which one is known that was put
// together of two.
#pragma once

#include <span>

namespace clipchain::rescue {

// Whether the coded bytes are those of a sequential picture with one scan, whole
// to the last block (ISO/IEC 10918-1, annex F): as many blocks as its size
// takes, then bits that fill the last byte, then the end marker.
bool HoldsAllBlocks(std::span<const unsigned char> picture);

}  // namespace clipchain::rescue
