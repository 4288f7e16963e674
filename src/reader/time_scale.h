// Conversions between time scales in 64-bit arithmetic that wraps.
#pragma once

#include <cstdint>

namespace MP4G {

inline long long WrappingSum(long long a, long long b) {
  return static_cast<long long>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

inline long long WrappingDifference(long long a, long long b) {
  return static_cast<long long>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

inline long long WrappingProduct(long long a, long long b) {
  return static_cast<long long>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

// value * to / from, multiplied first and truncated. `from` must not be 0.
inline std::uint64_t Rescaled(std::uint64_t value, unsigned int from, unsigned int to) {
  return value * to / from;
}
inline long long RescaledSigned(long long value, unsigned int from, unsigned int to) {
  return WrappingProduct(value, to) / static_cast<long long>(from);
}

// The time of an edit in another scale. The old value multiplies the quotient once more, as
// applications expect it; a time of 0, the usual one, stays 0.
inline long long RescaledEditTime(long long value, unsigned int from, unsigned int to) {
  return WrappingProduct(RescaledSigned(value, from, to), value);
}

}  // namespace MP4G
