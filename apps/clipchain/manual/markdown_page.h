// Makes manual pages of pages of the documentation.
#pragma once

#include <string>

namespace clipchain {

// Writes a page of docs/ in the language of man: headings, paragraphs, lists, code that stands
// indented or between fences, and tables, of which each row becomes an entry with its first cell in
// front. `name` is that of the page, `section` the manual's.
std::string MarkdownPage(const std::string& text, const std::string& name, int section);

}  // namespace clipchain
