// Puts text that others wrote into a page, where it must stay text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace clipchain {

// Escapes text between tags or in a quoted attribute. Takes UTF-8; bytes that are none become
// U+FFFD, as do control characters but for tabs and line ends.
std::string HtmlText(std::string_view text);

// Spells a path as a person can read it, as HTML: bytes that are no UTF-8 and control characters
// appear as \xNN, characters that would turn the direction of what stands around them or show
// nothing as \u{NNNN}.
std::string HtmlPath(std::string_view path);

// Makes attributes that hold a path for programs: path="…", with U+FFFD as HtmlText has it, and
// where there is any, path-bytes="…" with all bytes in hexadecimal. `prefix` stands in front of
// both names.
std::string PathAttributes(std::string_view prefix, const std::string& path);

// Encodes bytes as RFC 4648, clause 4, has it.
std::string Base64(const std::vector<unsigned char>& bytes);

}  // namespace clipchain
