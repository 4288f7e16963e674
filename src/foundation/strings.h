// Conversions between narrow, wide and the platform's text. A wide character holds one UTF-32 code
// point; the platform's strings are UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/export.h"

namespace QUIRVA {

// The longest text, in units of the target, that comes out of a conversion by the locale.
inline constexpr std::size_t kLongestConversion = 1024;

// Narrow text. A wide text is converted by the process's current locale and cut after 1024 bytes;
// where that fails, what came before the failure stays. A null argument gives an empty text.
class CEasyStringA {
 public:
  CEasyStringA(const char* text);
  CEasyStringA(const wchar_t* text);
  CEasyStringA(const CEasyStringA&) = default;
  CEasyStringA& operator=(const CEasyStringA&) = default;
  virtual ~CEasyStringA() = default;

  operator const char*() const { return text_.c_str(); }

 private:
  std::string text_;
};

// Wide text. A narrow text is converted by the process's current locale and cut after 1024
// characters; where that fails, what came before the failure stays. A null argument gives an empty
// text.
class CEasyStringW {
 public:
  CEasyStringW(const wchar_t* text);
  CEasyStringW(const char* text);
  CEasyStringW(const CEasyStringW&) = default;
  CEasyStringW& operator=(const CEasyStringW&) = default;
  virtual ~CEasyStringW() = default;

  operator const wchar_t*() const { return text_.c_str(); }

 private:
  std::wstring text_;
};

// A string of the platform, UTF-8, as wide text. `result`: S_OK, or E_FAIL with an empty text for
// null and for bytes that are no UTF-8.
class CMacChar {
 public:
  CMacChar(const char* text, int& result);

  operator const wchar_t*() const { return text_.c_str(); }

 private:
  std::wstring text_;
};

// File names are bytes, which need not be text. The two functions are inverse on every sequence of
// bytes, whatever the locale: UTF-8 becomes code points, and a byte that is no part of UTF-8
// becomes U+DC80 to U+DCFF, code points that no text contains.
CLIPCHAIN_API std::wstring WidePathFromBytes(std::string_view bytes);
// Nothing if a character is no code point that the bytes of a path can stand for.
CLIPCHAIN_API std::optional<std::string> PathBytesFromWide(std::wstring_view path);

}  // namespace QUIRVA
