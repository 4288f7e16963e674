// Builders that make the bytes of boxes readable: Box("stbl", {FullBox("stts", 0, 0, {U32(1),
// U32(3), U32(5)})}).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace support {

using Bytes = std::vector<unsigned char>;

// Big-endian numbers.
Bytes U8(std::uint8_t value);
Bytes U16(std::uint16_t value);
Bytes U24(std::uint32_t value);
Bytes U32(std::uint32_t value);
Bytes U64(std::uint64_t value);

Bytes Text(std::string_view text);  // the characters, without a terminator
Bytes Zeros(std::size_t count);
Bytes Fill(std::size_t count, std::uint8_t value);
Bytes Hex(std::string_view digits);  // "00 1F a0": white space is skipped
Bytes Join(std::initializer_list<Bytes> parts);
Bytes operator+(const Bytes& a, const Bytes& b);
// The bytes [from, to), in a block of exactly their number.
Bytes Slice(const Bytes& bytes, std::size_t from, std::size_t to);

// A box with the size field that fits its parts.
Bytes Box(std::string_view type, std::initializer_list<Bytes> parts = {});
Bytes FullBox(std::string_view type, std::uint8_t version, std::uint32_t flags,
              std::initializer_list<Bytes> parts = {});

// Changes the big-endian 32-bit number at `offset`; the number there; the offset of the n-th
// occurrence of a type.
Bytes WithU32(Bytes bytes, std::size_t offset, std::uint32_t value);
std::uint32_t ReadU32(const Bytes& bytes, std::size_t offset);
std::uint64_t ReadU64(const Bytes& bytes, std::size_t offset);
// Offset of the size field of the `index`-th box whose type field reads `type`, found by its
// characters; npos if none.
std::size_t FindBox(const Bytes& bytes, std::string_view type, std::size_t index = 0);
inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// "00 00 00 10 6D …", for messages.
std::string HexDump(const Bytes& bytes);

}  // namespace support
