// Twelve small clips that differ in what they are made of: for tests that damage a clip in every
// way, and as seeds for fuzzing.
#pragma once

#include <string>
#include <vector>

#include "support/bytes.h"

namespace support {

struct ClipShape {
  std::string name;
  Bytes bytes;  // 32 KiB at most
};

// Each merges with itself.
std::vector<ClipShape> ClipShapes();

}  // namespace support
