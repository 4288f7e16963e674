#include "clipchain/terminal/paint.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace clipchain {

namespace {

std::string_view Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Select Graphic Rendition (ECMA-48, clause 8.3.117): green, cyan, yellow, bold red.
constexpr const char* kCodes[] = {"32", "36", "33", "1;31"};

}  // namespace

Paint::Paint(std::FILE* stream) {
  const std::string_view terminal = Environment("TERM");
  paints_ = ::isatty(::fileno(stream)) == 1 && Environment("NO_COLOR").empty() &&
            !terminal.empty() && terminal != "dumb";
}

std::string Paint::operator()(Colour colour, const std::string& text) const {
  if (!paints_) return text;
  return fmt::format("\x1B[{}m{}\x1B[0m", kCodes[static_cast<std::size_t>(colour)], text);
}

}  // namespace clipchain
