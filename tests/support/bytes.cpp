#include "support/bytes.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace support {

namespace {

Bytes BigEndian(std::uint64_t value, int bytes) {
  Bytes result;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    result.push_back(static_cast<unsigned char>(value >> shift));
  }
  return result;
}

std::uint64_t Read(const Bytes& bytes, std::size_t offset, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes.at(offset + i);
  return value;
}

}  // namespace

Bytes U8(std::uint8_t value) { return {value}; }
Bytes U16(std::uint16_t value) { return BigEndian(value, 2); }
Bytes U24(std::uint32_t value) { return BigEndian(value, 3); }
Bytes U32(std::uint32_t value) { return BigEndian(value, 4); }
Bytes U64(std::uint64_t value) { return BigEndian(value, 8); }

Bytes Text(std::string_view text) { return {text.begin(), text.end()}; }
Bytes Zeros(std::size_t count) { return Fill(count, 0); }
Bytes Fill(std::size_t count, std::uint8_t value) { return Bytes(count, value); }

Bytes Hex(std::string_view digits) {
  Bytes result;
  int half = -1;
  for (const char c : digits) {
    if (std::isspace(static_cast<unsigned char>(c)) != 0) continue;
    if (std::isxdigit(static_cast<unsigned char>(c)) == 0)
      throw std::invalid_argument("not a hexadecimal digit");
    const int value = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    if (half < 0) {
      half = value;
    } else {
      result.push_back(static_cast<unsigned char>(half << 4 | value));
      half = -1;
    }
  }
  if (half >= 0) throw std::invalid_argument("an odd number of hexadecimal digits");
  return result;
}

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes result;
  for (const Bytes& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

Bytes operator+(const Bytes& a, const Bytes& b) { return Join({a, b}); }

Bytes Slice(const Bytes& bytes, std::size_t from, std::size_t to) {
  if (from > to || to > bytes.size()) throw std::out_of_range("no such bytes");
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
          bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

Bytes Box(std::string_view type, std::initializer_list<Bytes> parts) {
  const Bytes body = Join(parts);
  return Join({U32(static_cast<std::uint32_t>(8 + body.size())), Text(type), body});
}

Bytes FullBox(std::string_view type, std::uint8_t version, std::uint32_t flags,
              std::initializer_list<Bytes> parts) {
  return Box(type, {U8(version), U24(flags), Join(parts)});
}

Bytes WithU32(Bytes bytes, std::size_t offset, std::uint32_t value) {
  const Bytes number = U32(value);
  for (std::size_t i = 0; i < number.size(); ++i) bytes.at(offset + i) = number[i];
  return bytes;
}

std::uint32_t ReadU32(const Bytes& bytes, std::size_t offset) {
  return static_cast<std::uint32_t>(Read(bytes, offset, 4));
}

std::uint64_t ReadU64(const Bytes& bytes, std::size_t offset) { return Read(bytes, offset, 8); }

std::size_t FindBox(const Bytes& bytes, std::string_view type, std::size_t index) {
  auto from =
      bytes.begin() + std::min<std::ptrdiff_t>(4, static_cast<std::ptrdiff_t>(bytes.size()));
  while (true) {
    from = std::search(from, bytes.end(), type.begin(), type.end());
    if (from == bytes.end()) return kNotFound;
    if (index == 0) return static_cast<std::size_t>(from - bytes.begin()) - 4;
    --index;
    ++from;
  }
}

std::string HexDump(const Bytes& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const unsigned char byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace support
