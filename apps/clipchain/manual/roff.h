// Writes text so that the formatter of manual pages shows it as it is.
#pragma once

#include <string>
#include <string_view>

namespace clipchain {

// UTF-8, within a line.
std::string Roff(std::string_view text);
// A whole line.
std::string RoffLine(const std::string& roff);

std::string RoffBold(std::string_view text);
std::string RoffItalic(std::string_view text);

}  // namespace clipchain
