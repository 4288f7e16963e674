// Clips of a recording as small files.
#pragma once

#include <cstdint>

#include "support/bytes.h"
#include "support/vendor_box.h"

namespace support {

// A whole file of a movie header alone, created that many seconds after the start of 1904, and the
// same with a camera's box.
Bytes PlainClip(std::uint32_t creationTime = 0);
Bytes TinyClip(const VendorBox& box, std::uint32_t creationTime = 0);

// What a camera says about clip `number` of a recording of `length` clips, counted from 1. Clip
// numbers start at `base`, to tell recordings apart.
VendorBox ChainLink(unsigned int number, unsigned int length, unsigned int base = 0);

}  // namespace support
