#include "clipchain/manual/message_page.h"

#include <fmt/format.h>

#include <vector>

#include "clipchain/manual/markdown_page.h"

namespace clipchain {

namespace {

constexpr std::string_view kPage =
#include "clipchain/manual/messages_page.inc"
    ;

std::string_view LineAt(std::string_view text, std::size_t at) {
  return text.substr(at, text.find('\n', at) - at);
}

// Text without the marks of code, and links as their words. `anchor` becomes the place in the page
// that a link leads to.
std::string Plain(std::string_view text, std::string& anchor) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '`') continue;
    if (const std::size_t middle = text.find("](", i); text[i] == '[' && middle != text.npos) {
      const std::size_t end = text.find(')', middle);
      plain += text.substr(i + 1, middle - i - 1);
      if (text[middle + 2] == '#') anchor = text.substr(middle + 3, end - middle - 3);
      i = end;
      continue;
    }
    plain += text[i];
  }
  return plain;
}

std::string AnchorOf(std::string_view heading) {
  std::string anchor;
  for (const char c : heading)
    anchor += c == ' ' ? '-' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return anchor;
}

// The section below the heading that has that anchor, heading and all.
std::string_view Section(std::string_view page, std::string_view anchor) {
  constexpr std::string_view kMark = "\n## ";
  for (std::size_t at = page.find(kMark); at != page.npos; at = page.find(kMark, at + 1)) {
    if (AnchorOf(LineAt(page, at + kMark.size())) != anchor) continue;
    const std::string_view rest = page.substr(at + kMark.size());
    return rest.substr(0, rest.find(kMark));
  }
  return {};
}

}  // namespace

std::string_view MessagePage() { return kPage; }

std::optional<std::string> MessageText(std::string_view page, std::string_view name) {
  const std::size_t row = page.find(fmt::format("\n| `{}` |", name));
  if (row == page.npos) return std::nullopt;
  const std::vector<std::string> cells = MarkdownCells(LineAt(page, row + 1));
  if (cells.size() != 4) return std::nullopt;
  std::string anchor;
  std::string text =
      fmt::format("{}: {}\n  cause: {}\n  remedy: {}\n", name, Plain(cells[1], anchor),
                  Plain(cells[2], anchor), Plain(cells[3], anchor));
  const std::string_view section = anchor.empty() ? "" : Section(page, anchor);
  if (!section.empty()) text += '\n' + Plain(section, anchor);
  return text;
}

}  // namespace clipchain
