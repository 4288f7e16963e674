#include "foundation/strings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "foundation/result.h"

namespace QUIRVA {

namespace {

static_assert(sizeof(wchar_t) == 4);

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;
constexpr std::uint32_t kEscapedByte = 0xDC00;  // plus the byte, 0x80 to 0xFF

bool IsSurrogate(std::uint32_t code) { return code >= 0xD800 && code <= 0xDFFF; }
bool IsEscapedByte(std::uint32_t code) {
  return code >= kEscapedByte + 0x80 && code <= kEscapedByte + 0xFF;
}

// The bytes that a UTF-8 sequence with this first byte takes; 0 for a byte that starts none.
std::size_t SequenceLength(unsigned char first) {
  if (first < 0x80) return 1;
  if (first < 0xC0) return 0;
  if (first < 0xE0) return 2;
  if (first < 0xF0) return 3;
  return first < 0xF8 ? 4 : 0;
}

// Takes the code point at the front of `bytes`; false, with nothing taken, if the bytes there are
// no UTF-8: cut short, longer than needed, a surrogate, or beyond the last code point.
bool TakeCodePoint(std::string_view& bytes, std::uint32_t& code) {
  static constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<unsigned char>(bytes.front());
  const std::size_t length = SequenceLength(first);
  if (length == 0 || length > bytes.size()) return false;
  std::uint32_t value = length == 1 ? first : first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(bytes[i]);
    if ((next & 0xC0) != 0x80) return false;
    value = value << 6 | (next & 0x3F);
  }
  if (value < kSmallest[length] || value > kLastCodePoint || IsSurrogate(value)) return false;
  bytes.remove_prefix(length);
  code = value;
  return true;
}

void AppendUtf8(std::string& text, std::uint32_t code) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    append(code);
    return;
  }
  if (code < 0x800) {
    append(0xC0 | code >> 6);
  } else if (code < 0x10000) {
    append(0xE0 | code >> 12);
    append(0x80 | (code >> 6 & 0x3F));
  } else {
    append(0xF0 | code >> 18);
    append(0x80 | (code >> 12 & 0x3F));
    append(0x80 | (code >> 6 & 0x3F));
  }
  append(0x80 | (code & 0x3F));
}

}  // namespace

CEasyStringA::CEasyStringA(const char* text) : text_(text != nullptr ? text : "") {}

CEasyStringA::CEasyStringA(const wchar_t* text) {
  // One more than the limit: the conversion does not terminate a text that fills it.
  std::array<char, kLongestConversion + 1> area{};
  if (text != nullptr) static_cast<void>(std::wcstombs(area.data(), text, kLongestConversion));
  text_ = area.data();
}

CEasyStringW::CEasyStringW(const wchar_t* text) : text_(text != nullptr ? text : L"") {}

CEasyStringW::CEasyStringW(const char* text) {
  std::array<wchar_t, kLongestConversion + 1> area{};
  if (text != nullptr) static_cast<void>(std::mbstowcs(area.data(), text, kLongestConversion));
  text_ = area.data();
}

CMacChar::CMacChar(const char* text, int& result) {
  result = E_FAIL;
  if (text == nullptr) return;
  std::wstring wide;
  std::uint32_t code = 0;
  for (std::string_view rest = text; !rest.empty();) {
    if (!TakeCodePoint(rest, code)) return;
    wide += static_cast<wchar_t>(code);
  }
  text_ = std::move(wide);
  result = S_OK;
}

std::wstring WidePathFromBytes(std::string_view bytes) {
  std::wstring path;
  std::uint32_t code = 0;
  while (!bytes.empty()) {
    if (!TakeCodePoint(bytes, code)) {
      code = kEscapedByte + static_cast<unsigned char>(bytes.front());
      bytes.remove_prefix(1);
    }
    path += static_cast<wchar_t>(code);
  }
  return path;
}

std::optional<std::string> PathBytesFromWide(std::wstring_view path) {
  std::string bytes;
  for (const wchar_t character : path) {
    const auto code = static_cast<std::uint32_t>(character);
    if (IsEscapedByte(code)) {
      bytes += static_cast<char>(code - kEscapedByte);
    } else if (code == 0 || code > kLastCodePoint || IsSurrogate(code)) {
      return std::nullopt;
    } else {
      AppendUtf8(bytes, code);
    }
  }
  return bytes;
}

}  // namespace QUIRVA
