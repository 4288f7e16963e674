#include "workflow/system/path_characters.h"

#include <algorithm>
#include <iterator>

namespace clipchain {

namespace {

// Plus the byte, 0x80 to 0xFF.
constexpr wchar_t kStrayBytes = 0xDC00;

}  // namespace

bool IsStrayByte(wchar_t c) { return c >= kStrayBytes + 0x80 && c <= kStrayBytes + 0xFF; }

bool IsControl(wchar_t c) {
  const wchar_t code = IsStrayByte(c) ? c - kStrayBytes : c;
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

bool Misleads(wchar_t c) {
  struct Range {
    wchar_t first, last;
  };
  static constexpr Range kRanges[] = {
      {0xAD, 0xAD},     {0x61C, 0x61C},     {0x115F, 0x1160},   {0x17B4, 0x17B5},
      {0x180B, 0x180F}, {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},
      {0x3164, 0x3164}, {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},
      {0xFFFE, 0xFFFF}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};
  return std::any_of(std::begin(kRanges), std::end(kRanges),
                     [c](const Range& range) { return c >= range.first && c <= range.last; });
}

}  // namespace clipchain
