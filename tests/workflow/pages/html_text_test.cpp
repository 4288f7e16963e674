#include "workflow/pages/html_text.h"

#include <gtest/gtest.h>

#include <string>

using namespace clipchain;

TEST(HtmlText, LeavesNoCharacterThatMeansSomethingInAPage) {
  EXPECT_EQ("&lt;b a=&quot;1&quot; c=&#39;2&#39;&gt; &amp;amp; x",
            HtmlText("<b a=\"1\" c='2'> &amp; x"));
  EXPECT_EQ("caf\xC3\xA9 \xF0\x9F\x8E\xA5", HtmlText("caf\xC3\xA9 \xF0\x9F\x8E\xA5"));
  EXPECT_EQ("a&#13;\n", HtmlText("a\r\n"));
}

TEST(HtmlText, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(
      "a\xEF\xBF\xBD"
      "b",
      HtmlText("a\xFF"
               "b"));
}

// A control character in a page is an error, but for white space.
TEST(HtmlText, ReplacesControlCharacters) {
  EXPECT_EQ("a\xEF\xBF\xBD[2J\tb\n", HtmlText("a\x1B[2J\tb\n"));
  EXPECT_EQ("\xEF\xBF\xBD\xEF\xBF\xBD", HtmlText("\x7F\xC2\x85"));
}

TEST(HtmlPath, ShowsWhatCannotBeSeen) {
  EXPECT_EQ("a\\x0Ab\\x7F", HtmlPath("a\nb\x7F"));
  EXPECT_EQ("\\xFFa\\xC3", HtmlPath("\xFF"
                                    "a\xC3"));
  EXPECT_EQ("\\x85", HtmlPath("\xC2\x85"));
  EXPECT_EQ("a\\u{202E}gpj.exe", HtmlPath("a\xE2\x80\xAEgpj.exe"));
  EXPECT_EQ("\\u{200B}\\u{FEFF}\\u{E0041}", HtmlPath("\xE2\x80\x8B\xEF\xBB\xBF\xF3\xA0\x81\x81"));
  EXPECT_EQ("&lt;i&gt; caf\xC3\xA9", HtmlPath("<i> caf\xC3\xA9"));
}

TEST(HtmlPath, LeavesNothingOfAnyByteThatAPageWouldRead) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string html = HtmlPath(std::string(1, static_cast<char>(byte)));
    SCOPED_TRACE(byte);
    EXPECT_EQ(std::string::npos, html.find_first_of("<>\"'"));
    for (const char c : html) EXPECT_TRUE(c >= 0x20 && c < 0x7F);
  }
}

TEST(PathAttributes, KeepTheBytesOfWhatIsNoText) {
  EXPECT_EQ("data-path=\"a &quot;b&quot;\"", PathAttributes("data-", "a \"b\""));
  EXPECT_EQ("data-path=\"a\xEF\xBF\xBD\" data-path-bytes=\"61ff\"",
            PathAttributes("data-", "a\xFF"));
  EXPECT_EQ("data-path=\"a\xEF\xBF\xBD\" data-path-bytes=\"611b\"",
            PathAttributes("data-", "a\x1B"));
}

// The vectors of RFC 4648, clause 10.
TEST(Base64, FollowsItsStandard) {
  const std::string text = "foobar";
  const char* const coded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (std::size_t count = 0; count <= text.size(); ++count) {
    EXPECT_EQ(coded[count], Base64({text.begin(), text.begin() + static_cast<long>(count)}));
  }
  EXPECT_EQ("+/8A", Base64({0xFB, 0xFF, 0x00}));
}
