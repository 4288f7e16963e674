// Makes the frame of every page about clips: what stands around its parts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace clipchain {

// Marks a page, so that it is known for one of these; it stands in its first kilobyte.
extern const std::string_view kHtmlMark;

struct HtmlFrame {
  std::string title{};  // HTML
  std::string sums{};   // the list of sums
  std::string made{};   // when; may be empty
  // Parts that the page has: the identifier of each heading, and its name.
  std::vector<std::pair<std::string, std::string>> parts{};
  std::string pictures{};  // definitions
  std::string body{};      // of "main"
  bool hasFilter = false;  // whether there is anything in which to find words
};

std::string HtmlPage(const HtmlFrame& frame);

// Makes one of the sums: how many, of what.
std::string HtmlSum(std::string_view what, const std::string& value);

// Puts a section with a heading around `html`.
std::string HtmlSection(std::string_view id, std::string_view name, const std::string& html);

// Makes an item of one thing that somebody should look at: `words` are HTML. `kind` names it for
// programs.
std::string HtmlAttention(std::string_view kind, bool grave, const std::string& words);
// Makes the section with those things; words of relief without any.
std::string HtmlAttentionSection(const std::string& items);

}  // namespace clipchain
