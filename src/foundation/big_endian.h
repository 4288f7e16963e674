// Big-endian fields: the bytes of the file, alignment 1, converted on use. A struct of them is a
// wire layout.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace QUIRVA {

namespace detail {

inline std::uint16_t ByteSwap(std::uint16_t value) { return __builtin_bswap16(value); }
inline std::uint32_t ByteSwap(std::uint32_t value) { return __builtin_bswap32(value); }
inline std::uint64_t ByteSwap(std::uint64_t value) { return __builtin_bswap64(value); }

}  // namespace detail

// An unsigned integer of 16, 32 or 64 bits, held as it stands in the file.
template <class Integer>
struct BigEndian {
  static_assert(std::is_unsigned_v<Integer> && sizeof(Integer) > 1);
  using Value = Integer;

  unsigned char bytes[sizeof(Integer)];

  operator Integer() const {
    Integer value;
    std::memcpy(&value, bytes, sizeof value);
    if constexpr (std::endian::native == std::endian::little) value = detail::ByteSwap(value);
    return value;
  }
  BigEndian& operator=(Integer value) {
    if constexpr (std::endian::native == std::endian::little) value = detail::ByteSwap(value);
    std::memcpy(bytes, &value, sizeof value);
    return *this;
  }
};

using be16 = BigEndian<std::uint16_t>;
using be32 = BigEndian<std::uint32_t>;
using be64 = BigEndian<std::uint64_t>;

// A 24-bit unsigned integer; assignment keeps the low 24 bits.
struct be24 {
  using Value = std::uint32_t;

  unsigned char bytes[3];

  operator std::uint32_t() const {
    return static_cast<std::uint32_t>(bytes[0]) << 16 | static_cast<std::uint32_t>(bytes[1]) << 8 |
           bytes[2];
  }
  be24& operator=(std::uint32_t value) {
    bytes[0] = static_cast<unsigned char>(value >> 16);
    bytes[1] = static_cast<unsigned char>(value >> 8);
    bytes[2] = static_cast<unsigned char>(value);
    return *this;
  }
};

static_assert(sizeof(be16) == 2 && sizeof(be24) == 3 && sizeof(be32) == 4 && sizeof(be64) == 8);
static_assert(alignof(be64) == 1 && std::is_trivially_copyable_v<be64>);

}  // namespace QUIRVA
