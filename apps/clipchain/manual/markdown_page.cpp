#include "clipchain/manual/markdown_page.h"

#include <fmt/format.h>

#include <sstream>
#include <string_view>
#include <vector>

#include "clipchain/manual/roff.h"

namespace clipchain {

namespace {

// Code in bold, what stands out in italics, links as their words.
std::string Inline(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool strong = text.substr(i).starts_with("**");
    if (text[i] == '`' || strong) {
      const std::string_view mark = strong ? "**" : "`";
      const std::size_t begin = i + mark.size();
      if (const std::size_t end = text.find(mark, begin); end != text.npos) {
        out += RoffBold(text.substr(begin, end - begin));
        i = end + mark.size() - 1;
        continue;
      }
    }
    if (text[i] == '[') {
      const std::size_t middle = text.find("](", i);
      const std::size_t end = middle == text.npos ? text.npos : text.find(')', middle);
      if (end != text.npos) {
        out += Inline(text.substr(i + 1, middle - i - 1));
        i = end;
        continue;
      }
    }
    if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '|') continue;
    // Characters of more than one byte stay together.
    std::size_t end = i + 1;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    out += Roff(text.substr(i, end - i));
    i = end - 1;
  }
  return out;
}

// Turns the lines of a page into requests, one after the other.
class Writer {
 public:
  std::string Run(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) Take(line);
    EndCode();
    return out_;
  }

 private:
  void Take(const std::string& line) {
    if (line.starts_with("```")) {
      fenced_ ? EndCode() : BeginCode();
      fenced_ = !fenced_;
      return;
    }
    const bool indented = line.starts_with("    ") && !inItem_;
    if (fenced_ || indented) {
      BeginCode();
      out_ += RoffLine(Roff(fenced_ ? line : line.substr(4))) + '\n';
      return;
    }
    // Between two lines of code a blank one is code; behind the last one it is not.
    if (line.empty() && inCode_) {
      blanks_ += '\n';
      return;
    }
    EndCode();
    if (line.starts_with('|')) return TakeRow(line);
    // A table ends where a line begins otherwise.
    heads_.clear();
    TakeText(line);
  }

  void TakeText(const std::string& line) {
    const std::size_t digits = line.find_first_not_of("0123456789");
    if (line.empty()) {
      wantsParagraph_ = true;
      inItem_ = false;
    } else if (line.starts_with("# ")) {
      return;
    } else if (line.starts_with("## ")) {
      Request(".SH " + Inline(line.substr(3)));
    } else if (line.starts_with("### ")) {
      Request(".SS " + Inline(line.substr(4)));
    } else if (line.starts_with("- ")) {
      Item(".IP \\(bu 2", line.substr(2));
    } else if (digits != 0 && digits != line.npos && line.substr(digits).starts_with(". ")) {
      Item(fmt::format(".IP {}. 4", line.substr(0, digits)), line.substr(digits + 2));
    } else {
      if (wantsParagraph_) out_ += ".PP\n";
      wantsParagraph_ = false;
      out_ += RoffLine(Inline(line.substr(line.find_first_not_of(' ')))) + '\n';
    }
  }

  // The first row names the columns, the second one is the line below them.
  void TakeRow(const std::string& line) {
    const std::vector<std::string> cells = MarkdownCells(line);
    if (heads_.empty()) {
      heads_ = cells;
      return;
    }
    if (cells.empty() || cells[0].find_first_not_of("-:") == std::string::npos) return;
    out_ += ".TP\n" + RoffLine("\\fB" + Inline(cells[0]) + "\\fR") + '\n';
    for (std::size_t i = 1; i < cells.size() && i < heads_.size(); ++i) {
      if (cells[i].empty()) continue;
      // Of two columns the first one names what the second one tells.
      const std::string head = cells.size() > 2 ? "\\fI" + Inline(heads_[i]) + "\\fR: " : "";
      out_ += (i > 1 ? ".br\n" : "") + RoffLine(head + Inline(cells[i])) + '\n';
    }
    wantsParagraph_ = true;
  }

  void Request(const std::string& line) {
    out_ += line + '\n';
    wantsParagraph_ = false;
  }

  void Item(const std::string& request, const std::string& text) {
    Request(request);
    out_ += RoffLine(Inline(text)) + '\n';
    inItem_ = true;
  }

  void BeginCode() {
    if (!inCode_) out_ += ".PP\n.RS 4\n.nf\n";
    out_ += blanks_;
    blanks_.clear();
    inCode_ = true;
  }

  void EndCode() {
    if (inCode_) {
      out_ += ".fi\n.RE\n";
      wantsParagraph_ = true;
    }
    inCode_ = false;
    blanks_.clear();
  }

  std::string out_;
  // Of the table at hand.
  std::vector<std::string> heads_;
  // Lines within code that may be its end.
  std::string blanks_;
  bool wantsParagraph_ = false;
  bool inItem_ = false;
  bool inCode_ = false;
  bool fenced_ = false;
};

}  // namespace

std::vector<std::string> MarkdownCells(std::string_view row) {
  std::vector<std::string> cells;
  std::string cell;
  for (std::size_t i = 1; i < row.size(); ++i) {
    // Within a cell the mark stands behind a backslash, in code too.
    if (row[i] != '|' || row[i - 1] == '\\') {
      cell += row[i];
      continue;
    }
    const std::size_t begin = cell.find_first_not_of(' ');
    cells.push_back(
        begin == cell.npos ? "" : cell.substr(begin, cell.find_last_not_of(' ') + 1 - begin));
    cell.clear();
  }
  return cells;
}

std::string MarkdownPage(const std::string& text, const std::string& name, int section) {
  const std::string title = text.starts_with("# ") ? text.substr(2, text.find('\n') - 2) : name;
  return fmt::format(
      ".TH {} {} \"\" \"clipchain {}\" \"clipchain\"\n.SH NAME\n{} \\- {}\n"
      ".SH DESCRIPTION\n{}",
      Roff(name), section, CLIPCHAIN_VERSION, Roff(name), Inline(title), Writer().Run(text));
}

}  // namespace clipchain
