// How far a merge is.
#pragma once

#include <cstddef>

namespace clipchain {

struct MergeStep {
  // In this order, but with Verification::kFull the flush comes first: what is read back must come
  // from the disk.
  enum class Phase { kChecking, kCopying, kVerifying, kFlushing } phase;
  std::size_t clip;   // index of the input that is copied; of the last one in the phases behind
  long long current;  // bytes over all inputs together
  long long total;
};

}  // namespace clipchain
