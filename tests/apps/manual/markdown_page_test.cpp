#include "clipchain/manual/markdown_page.h"

#include <gtest/gtest.h>

using clipchain::MarkdownPage;

namespace {

// What stands behind the head of a page with that text.
std::string Body(const std::string& text) {
  const std::string page = MarkdownPage("# A page\n" + text, "some-page", 7);
  const std::string head = ".SH DESCRIPTION\n";
  return page.substr(page.find(head) + head.size());
}

}  // namespace

TEST(MarkdownPage, BeginsWithItsNameAndTitle) {
  EXPECT_EQ(".TH some\\-page 7 \"\" \"clipchain " CLIPCHAIN_VERSION
            "\" \"clipchain\"\n.SH NAME\nsome\\-page \\- A page\n.SH DESCRIPTION\n",
            MarkdownPage("# A page\n", "some-page", 7));
}

TEST(MarkdownPage, HasHeadingsParagraphsAndLists) {
  EXPECT_EQ(
      ".PP\nOne \\fBtwo\\-three\\fR and a link,\nfour \\fBfive\\fR.\n.PP\n\\&.dot\n.SH Six\n"
      ".IP \\(bu 2\nseven\neight\n.IP 1. 4\nnine\n.SS Ten\n",
      Body(
          "\nOne `two-three` and [a link](there.md),\nfour **five**.\n\n.dot\n\n## Six\n\n- seven\n"
          "  eight\n1. nine\n### Ten\n"));
}

TEST(MarkdownPage, HasCodeAsItStands) {
  EXPECT_EQ(".PP\nText\n.PP\n.RS 4\n.nf\na \\eb\n\n  c `d`\n.fi\n.RE\n.PP\nmore\n", [] {
    std::string body = Body("\nText\n\n    a \\b\n\n      c `d`\n\nmore\n");
    for (std::size_t at; (at = body.find("\\(ga")) != std::string::npos;) body.replace(at, 4, "`");
    return body;
  }());
  EXPECT_EQ(".PP\n.RS 4\n.nf\n\\&.a\n.fi\n.RE\n", Body("```console\n.a\n```\n"));
}

TEST(MarkdownPage, HasAnEntryForEachRowOfATable) {
  EXPECT_EQ(
      ".TP\n\\fB\\fBa\\fR\\fR\n\\fItype\\fR: text\n.br\n\\fImeaning\\fR: x | y\n.TP\n\\fBb\\fR\n"
      "\\fItype\\fR: n\n",
      Body("| field | type | meaning |\n|---|---|---|\n| `a` | text | x \\| y |\n| b | n | |\n"));
}

TEST(MarkdownPage, IsOfPlainCharacters) {
  EXPECT_EQ(".PP\na \\[u2026] \\(aqb\\(aq\n", Body("\na \xE2\x80\xA6 'b'\n"));
}
