// Four-character codes as numbers, and numbers as text for people.
#pragma once

#include <cstdint>
#include <string>

// FourCc("moov") is 0x6D6F6F76: the first character is the most significant byte.
constexpr std::uint32_t FourCc(const char (&code)[5]) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(code[i]);
  return value;
}

// The four characters; a byte outside printable ASCII appears as \xNN.
inline std::string FourCcText(std::uint32_t value) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const unsigned char byte = static_cast<unsigned char>(value >> shift);
    if (byte >= 0x20 && byte < 0x7F) {
      text += static_cast<char>(byte);
    } else {
      text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return text;
}
