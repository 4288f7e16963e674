#include "workflow/pages/html_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/strings.h"
#include "workflow/system/path_characters.h"

namespace clipchain {

namespace {

void AppendUtf8(std::string& text, wchar_t c) {
  text += QUIRVA::PathBytesFromWide(std::wstring_view(&c, 1)).value_or("");
}

// What no page may have in it: browsers guess an encoding for all of one that is not text
// throughout, and control characters are errors but for white space.
bool IsNoText(wchar_t c) {
  return IsStrayByte(c) || (IsControl(c) && c != L'\t' && c != L'\n' && c != L'\r');
}

void AppendEscaped(std::string& html, wchar_t c) {
  switch (c) {
    case L'&':
      html += "&amp;";
      break;
    case L'<':
      html += "&lt;";
      break;
    case L'>':
      html += "&gt;";
      break;
    case L'"':
      html += "&quot;";
      break;
    case L'\'':
      html += "&#39;";
      break;
    case L'\r':  // a page's own line ends are normalised
      html += "&#13;";
      break;
    default:
      AppendUtf8(html, c);
  }
}

}  // namespace

std::string HtmlText(std::string_view text) {
  std::string html;
  for (const wchar_t c : QUIRVA::WidePathFromBytes(text))
    AppendEscaped(html, IsNoText(c) ? L'\uFFFD' : c);
  return html;
}

std::string HtmlPath(std::string_view path) {
  std::string html;
  for (const wchar_t c : QUIRVA::WidePathFromBytes(path)) {
    if (IsStrayByte(c)) {
      html += fmt::format("\\x{:02X}", static_cast<unsigned int>(c) & 0xFF);
    } else if (IsControl(c)) {
      html += fmt::format("\\x{:02X}", static_cast<unsigned int>(c));
      // A name could make what stands around it read otherwise.
    } else if (Misleads(c)) {
      html += fmt::format("\\u{{{:X}}}", static_cast<unsigned int>(c));
    } else {
      AppendEscaped(html, c);
    }
  }
  return html;
}

std::string PathAttributes(std::string_view prefix, const std::string& path) {
  std::string attributes = fmt::format("{}path=\"{}\"", prefix, HtmlText(path));
  const std::wstring wide = QUIRVA::WidePathFromBytes(path);
  // Who wants such a name back takes it from the digits.
  if (std::none_of(wide.begin(), wide.end(), IsNoText)) return attributes;
  attributes += fmt::format(" {}path-bytes=\"", prefix);
  for (const char c : path) attributes += fmt::format("{:02x}", static_cast<unsigned char>(c));
  return attributes + '"';
}

std::string Base64(const std::vector<unsigned char>& bytes) {
  // RFC 4648, clause 4; data: URLs take no other alphabet.
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t there = std::min<std::size_t>(3, bytes.size() - i);
    unsigned int group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < there ? bytes[i + k] : 0u);
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= there ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

}  // namespace clipchain
