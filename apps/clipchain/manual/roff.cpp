#include "clipchain/manual/roff.h"

#include <fmt/format.h>

#include "foundation/strings.h"

namespace clipchain {

std::string Roff(std::string_view text) {
  std::string roff;
  for (const wchar_t c : QUIRVA::WidePathFromBytes(text)) {
    if (c == L'\\') {
      roff += "\\e";
    } else if (c == L'-') {
      // A plain one may be shown as a dash, and a command that is copied from the page fails.
      roff += "\\-";
    } else if (c == L'\'') {
      // A plain one is shown as a closing quote, with which no shell does anything.
      roff += "\\(aq";
    } else if (c == L'`') {
      // Likewise: as an opening quote.
      roff += "\\(ga";
    } else if (c < 0x80) {
      roff += static_cast<char>(c);
    } else {
      // Whatever characters the terminal of the reader has: some formatters take bytes for Latin 1.
      roff += fmt::format("\\[u{:04X}]", static_cast<unsigned int>(c));
    }
  }
  return roff;
}

std::string RoffLine(const std::string& roff) {
  // One that begins with a dot would be a request. A quote, too, but that is written otherwise.
  return roff.starts_with('.') ? "\\&" + roff : roff;
}

std::string RoffBold(std::string_view text) { return "\\fB" + Roff(text) + "\\fR"; }
std::string RoffItalic(std::string_view text) { return "\\fI" + Roff(text) + "\\fR"; }

}  // namespace clipchain
