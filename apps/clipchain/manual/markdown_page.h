// Makes manual pages of pages of the documentation.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace clipchain {

// The cells of a row "| a | b |", without the blanks around them.
std::vector<std::string> MarkdownCells(std::string_view row);

// Writes a page of docs/ in the language of man: headings, paragraphs, lists, code that stands
// indented or between fences, and tables, of which each row becomes an entry with its first cell in
// front. `name` is that of the page, `section` the manual's.
std::string MarkdownPage(const std::string& text, const std::string& name, int section);

}  // namespace clipchain
