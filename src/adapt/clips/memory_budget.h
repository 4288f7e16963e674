// Counts the memory that several threads may take in all.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

namespace clipchain {

class MemoryBudget {
 public:
  // As much as there is.
  MemoryBudget() = default;
  explicit MemoryBudget(std::uint64_t bytes) : left_(bytes) {}

  // False: there is less than that, and nothing was taken.
  [[nodiscard]] bool Take(std::uint64_t bytes) {
    std::uint64_t left = left_;
    while (left >= bytes) {
      if (left_.compare_exchange_weak(left, left - bytes)) return true;
    }
    return false;
  }

 private:
  std::atomic<std::uint64_t> left_ = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace clipchain
