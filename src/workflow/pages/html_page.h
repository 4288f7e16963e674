// Makes the frame of every page about clips: what stands around its parts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace clipchain {

// Marks a page, so that it is known for one of these; it stands in its first kilobyte.
extern const std::string_view kHtmlMark;

struct HtmlFrame {
  // HTML.
  std::string title{};
  // The list of sums.
  std::string sums{};
  // When; may be empty.
  std::string made{};
  // Parts that the page has: the identifier of each heading, and its name.
  std::vector<std::pair<std::string, std::string>> parts{};
  // Definitions.
  std::string pictures{};
  // Of "main".
  std::string body{};
  // Whether there is anything in which to find words.
  bool hasFilter = false;
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
