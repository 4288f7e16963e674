#include "foundation/strings.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "foundation/file_spec.h"
#include "support/result_matchers.h"

using namespace QUIRVA;

namespace {

// The process's locale for the life of the object.
class Locale {
 public:
  explicit Locale(const char* name) : before_(std::setlocale(LC_ALL, nullptr)) {
    known_ = std::setlocale(LC_ALL, name) != nullptr;
  }
  ~Locale() { std::setlocale(LC_ALL, before_.c_str()); }
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;

  bool known() const { return known_; }

 private:
  std::string before_;
  bool known_;
};

std::wstring Wide(const char* text, int& result) {
  const CMacChar converted(text, result);
  return static_cast<const wchar_t*>(converted);
}

}  // namespace

TEST(EasyString, KeepsTextOfItsOwnKindWhateverItsLength) {
  const std::string narrow(2000, 'a');
  EXPECT_EQ(narrow, static_cast<const char*>(CEasyStringA(narrow.c_str())));
  const std::wstring wide(2000, L'a');
  EXPECT_EQ(wide, static_cast<const wchar_t*>(CEasyStringW(wide.c_str())));
}

TEST(EasyString, ConvertsPlainTextBothWays) {
  EXPECT_STREQ("clip.mp4", CEasyStringA(L"clip.mp4"));
  EXPECT_STREQ(L"clip.mp4", CEasyStringW("clip.mp4"));
  EXPECT_STREQ("", CEasyStringA(L""));
  EXPECT_STREQ(L"", CEasyStringW(""));
}

TEST(EasyString, CutsAConvertedTextAfter1024) {
  for (const std::size_t length : {1023u, 1024u, 1025u, 2000u}) {
    const std::size_t kept = std::min<std::size_t>(length, 1024);
    const std::string narrow(length, 'a');
    const std::wstring wide(length, L'a');
    EXPECT_EQ(std::wstring(kept, L'a'), static_cast<const wchar_t*>(CEasyStringW(narrow.c_str())));
    EXPECT_EQ(std::string(kept, 'a'), static_cast<const char*>(CEasyStringA(wide.c_str())));
  }
}

TEST(EasyString, FollowsTheLocale) {
  const Locale locale("C.UTF-8");
  ASSERT_TRUE(locale.known());
  EXPECT_STREQ("\xC3\xA9\xF0\x9F\x8E\xAC", CEasyStringA(L"\u00E9\U0001F3AC"));
  EXPECT_STREQ(L"\u00E9\U0001F3AC", CEasyStringW("\xC3\xA9\xF0\x9F\x8E\xAC"));
}

TEST(EasyString, LimitCountsBytesOnTheWayToNarrowAndCharactersOnTheWayToWide) {
  const Locale locale("C.UTF-8");
  ASSERT_TRUE(locale.known());
  std::string narrow;
  for (int i = 0; i < 1100; ++i) narrow += "\xC3\xA9";
  EXPECT_EQ(std::wstring(1024, L'\u00E9'),
            static_cast<const wchar_t*>(CEasyStringW(narrow.c_str())));
  const std::wstring wide(1100, L'\u00E9');
  EXPECT_EQ(narrow.substr(0, 1024), static_cast<const char*>(CEasyStringA(wide.c_str())));
  // A character whose bytes do not all fit is left out.
  EXPECT_EQ("a" + narrow.substr(0, 1022),
            std::string(static_cast<const char*>(CEasyStringA((L"a" + wide).c_str()))));
}

TEST(EasyString, AConversionThatFailsKeepsWhatCameBefore) {
  const Locale locale("C.UTF-8");
  ASSERT_TRUE(locale.known());
  EXPECT_STREQ(L"ab", CEasyStringW("ab\xFF"
                                   "cd"));
  const wchar_t surrogate[] = {L'a', L'b', static_cast<wchar_t>(0xD800), L'c', 0};
  EXPECT_STREQ("ab", CEasyStringA(surrogate));
}

TEST(EasyString, NullIsEmpty) {
  EXPECT_STREQ("", CEasyStringA(static_cast<const char*>(nullptr)));
  EXPECT_STREQ("", CEasyStringA(static_cast<const wchar_t*>(nullptr)));
  EXPECT_STREQ(L"", CEasyStringW(static_cast<const char*>(nullptr)));
  EXPECT_STREQ(L"", CEasyStringW(static_cast<const wchar_t*>(nullptr)));
}

TEST(EasyString, Copies) {
  const CEasyStringA narrow("a");
  CEasyStringA narrowCopy(narrow);
  EXPECT_STREQ("a", narrowCopy);
  narrowCopy = CEasyStringA("b");
  EXPECT_STREQ("b", narrowCopy);
  const CEasyStringW wide(L"a");
  CEasyStringW wideCopy(wide);
  EXPECT_STREQ(L"a", wideCopy);
  wideCopy = CEasyStringW(L"b");
  EXPECT_STREQ(L"b", wideCopy);
}

TEST(MacChar, TakesUtf8WhateverTheLocale) {
  const Locale locale("C");
  ASSERT_TRUE(locale.known());
  int result = -1;
  EXPECT_EQ(L"/a/\u00E9\u65E5\U0001F3AC", Wide("/a/\xC3\xA9\xE6\x97\xA5\xF0\x9F\x8E\xAC", result));
  EXPECT_OK(result);
}

TEST(MacChar, TakesAnEmptyTextAndALongOne) {
  int result = -1;
  EXPECT_EQ(L"", Wide("", result));
  EXPECT_OK(result);
  const std::string text(5000, 'a');
  EXPECT_EQ(std::wstring(5000, L'a'), Wide(text.c_str(), result));
  EXPECT_OK(result);
}

TEST(MacChar, TakesTheFirstAndLastCodePointOfEachLength) {
  int result = -1;
  EXPECT_EQ(L"\x01\x7F", Wide("\x01\x7F", result));
  EXPECT_OK(result);
  EXPECT_EQ((std::wstring{0x80, 0x7FF}), Wide("\xC2\x80\xDF\xBF", result));
  EXPECT_OK(result);
  EXPECT_EQ((std::wstring{0x800, 0xD7FF, 0xE000, 0xFFFF}),
            Wide("\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", result));
  EXPECT_OK(result);
  EXPECT_EQ((std::wstring{0x10000, 0x10FFFF}), Wide("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", result));
  EXPECT_OK(result);
}

TEST(MacChar, RefusesNullAndWhatIsNoUtf8) {
  const char* const refused[] = {
      nullptr,
      "a\x80",              // continues nothing
      "a\xFF",              // never a first byte
      "a\xF8\x88\x80\x80",  // never a first byte
      "a\xC3",              // cut short
      "a\xE6\x97",          // cut short
      "a\xC3z",             // not continued
      "\xC0\x80",           // longer than needed
      "\xC1\xBF",           // longer than needed
      "\xE0\x9F\xBF",       // longer than needed
      "\xF0\x8F\xBF\xBF",   // longer than needed
      "\xED\xA0\x80",       // a surrogate
      "\xED\xBF\xBF",       // a surrogate
      "\xF4\x90\x80\x80",   // beyond the last code point
  };
  for (const char* text : refused) {
    int result = S_OK;
    EXPECT_EQ(L"", Wide(text, result));
    EXPECT_RESULT(E_FAIL, result) << (text != nullptr ? text : "null");
  }
}

TEST(PathText, EveryByteSequenceComesBack) {
  std::string bytes;
  for (int first = 1; first < 256; ++first) {
    bytes += static_cast<char>(first);
    for (int second = 1; second < 256; ++second) {
      const std::string pair = {static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(pair, PathBytesFromWide(WidePathFromBytes(pair)));
    }
  }
  EXPECT_EQ(bytes, PathBytesFromWide(WidePathFromBytes(bytes)));
  for (const char* text : {"", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x8E\xAC", "\xED\xB2\x80",
                           "\xF4\x90\x80\x80", "\xE6\x97", "\xF0\x9F\x8E"}) {
    EXPECT_EQ(text, PathBytesFromWide(WidePathFromBytes(text)));
  }
}

TEST(PathText, Utf8BecomesCodePointsAndOtherBytesAreMarked) {
  EXPECT_EQ(L"\u00E9\u65E5\U0001F3AC", WidePathFromBytes("\xC3\xA9\xE6\x97\xA5\xF0\x9F\x8E\xAC"));
  EXPECT_EQ((std::wstring{L'a', 0xDC80, 0xDCFF, 0xDCE6, 0xDC97, L'b'}),
            WidePathFromBytes("a\x80\xFF\xE6\x97"
                              "b"));
  // The UTF-8 form of a surrogate is none: its bytes cannot be taken for a marked byte.
  EXPECT_EQ((std::wstring{0xDCED, 0xDCB2, 0xDC80}), WidePathFromBytes("\xED\xB2\x80"));
}

TEST(PathText, CharactersThatNoByteStandsForAreRefused) {
  for (const std::uint32_t code : {0x0u, 0xD800u, 0xDBFFu, 0xDC00u, 0xDC7Fu, 0xDD00u, 0xDFFFu,
                                   0x110000u, 0x80000000u, 0xFFFFFFFFu}) {
    const std::wstring path = {L'a', static_cast<wchar_t>(code), L'b'};
    EXPECT_EQ(std::nullopt, PathBytesFromWide(path)) << std::hex << code;
  }
  for (const std::uint32_t code : {0x1u, 0xD7FFu, 0xDC80u, 0xDCFFu, 0xE000u, 0x10FFFFu}) {
    const std::wstring path = {L'a', static_cast<wchar_t>(code), L'b'};
    EXPECT_NE(std::nullopt, PathBytesFromWide(path)) << std::hex << code;
  }
}

TEST(FSSpec, EqualsASpecOfTheSamePath) {
  const CFSSpec location(L"/clips/a.mp4");
  EXPECT_TRUE(location == CFSSpec(L"/clips/a.mp4"));
  EXPECT_FALSE(location != CFSSpec(L"/clips/a.mp4"));
  EXPECT_TRUE(location == CFSSpec("/clips/a.mp4"));
  EXPECT_FALSE(location == CFSSpec(L"/clips/b.mp4"));
  EXPECT_TRUE(location != CFSSpec(L"/clips/b.mp4"));
  EXPECT_FALSE(location == CFSSpec(L"/clips/A.mp4"));
  EXPECT_TRUE(CFSSpec(L"") == CFSSpec(""));
}

TEST(FSSpec, WithoutALocationEqualsNothing) {
  const CFSSpec none;
  EXPECT_FALSE(none == CFSSpec());
  EXPECT_TRUE(none != CFSSpec());
  EXPECT_FALSE(none == none);
  EXPECT_FALSE(none == CFSSpec(L""));
  EXPECT_FALSE(CFSSpec(L"") == none);
}

TEST(FSSpec, GivesTheBytesOfThePathWhateverTheLocale) {
  const Locale locale("C");
  ASSERT_TRUE(locale.known());
  EXPECT_STREQ("/\xC3\xA9\xFF", CFSSpec(L"/\u00E9\xDCFF").GetLocation());
  const char* const location = "/\xFF";
  EXPECT_STREQ(location, CFSSpec(location).GetLocation());
  EXPECT_NE(location, CFSSpec(location).GetLocation());
}

TEST(FSSpec, HasNoLocationForNullAndForWhatCannotBeAName) {
  EXPECT_EQ(nullptr, CFSSpec().GetLocation());
  EXPECT_EQ(nullptr, CFSSpec(static_cast<const wchar_t*>(nullptr)).GetLocation());
  EXPECT_EQ(nullptr, CFSSpec(static_cast<const char*>(nullptr)).GetLocation());
  const wchar_t impossible[] = {L'/', L'a', static_cast<wchar_t>(0xD800), 0};
  EXPECT_EQ(nullptr, CFSSpec(impossible).GetLocation());
}

TEST(FSSpec, CopiesItsLocation) {
  CFSSpec location(L"/a");
  const CFSSpec copy(location);
  location = CFSSpec(L"/b");
  EXPECT_STREQ("/a", copy.GetLocation());
  EXPECT_STREQ("/b", location.GetLocation());
}
