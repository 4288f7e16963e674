#include "workflow/system/files.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/strings.h"
#include "support/bytes.h"
#include "support/temp_dir.h"

using namespace clipchain;
using support::TempDir;
using support::Text;
using support::WriteFile;

TEST(ShownPath, ShowsControlsOfTwoBytes) {
  EXPECT_EQ("\\xC2\\x9B31m", PrintablePath("\xC2\x9B"
                                           "31m"));
  EXPECT_EQ("\\xC2\\x80\xC2\xA0\xC3\x80", PrintablePath("\xC2\x80\xC2\xA0\xC3\x80"));
  EXPECT_EQ("\xC2", PrintablePath("\xC2"));
  EXPECT_EQ("\xC2\\xC2\\x9F", PrintablePath("\xC2\xC2\x9F"));
}

// A terminal that speaks no UTF-8 takes 0x9B for the beginning of a command.
TEST(ShownPath, SpellsOutBytesThatAreControlsWithoutUtf8) {
  for (int byte = 0x80; byte < 0xA0; ++byte)
    EXPECT_EQ(fmt::format("a\\x{:02X}m", byte),
              PrintablePath(std::string("a") + static_cast<char>(byte) + 'm'));
  EXPECT_EQ("\xC3\x9B \xE2\x9B\xB5", PrintablePath("\xC3\x9B \xE2\x9B\xB5"));
}

TEST(ShownPath, SpellsOutWhatTurnsTheDirectionOrShowsNothing) {
  EXPECT_EQ("a\\u{202E}4pm.exe", PrintablePath("a\xE2\x80\xAE"
                                               "4pm.exe"));
  for (const unsigned int code : {0x202Au, 0x202Eu, 0x2066u, 0x2069u, 0x200Bu, 0x2028u}) {
    const wchar_t c = static_cast<wchar_t>(code);
    EXPECT_EQ(fmt::format("\\u{{{:X}}}", code), PrintablePath(*QUIRVA::PathBytesFromWide({&c, 1})));
  }
  EXPECT_EQ("\xE2\x80\xA6 \xE2\x80\x94", PrintablePath("\xE2\x80\xA6 \xE2\x80\x94"));
}

TEST(ShownPath, KeepsBytesThatPrint) {
  EXPECT_EQ("a b/\xC3\xA4\xFF.mp4", PrintablePath("a b/\xC3\xA4\xFF.mp4"));
}

TEST(ShownPath, SpellsOutControlCharacters) {
  EXPECT_EQ("a\\x1B[2J\\x0Ab\\x7F", PrintablePath("a\x1B[2J\nb\x7F"));
}

TEST(Exists, SeesFilesFoldersAndLinksThatLeadNowhere) {
  const TempDir folder;
  WriteFile(folder / "file", Text("x"));
  std::filesystem::create_symlink("nowhere", folder / "link");
  EXPECT_TRUE(Exists(folder / "file"));
  EXPECT_TRUE(Exists(folder.path()));
  EXPECT_TRUE(Exists(folder / "link"));
  EXPECT_FALSE(Exists(folder / "nowhere"));
}

TEST(IsSameFile, LooksThroughEveryNameOfAFile) {
  const TempDir folder;
  WriteFile(folder / "file", Text("x"));
  std::filesystem::create_hard_link(folder / "file", folder / "hard");
  std::filesystem::create_symlink("file", folder / "soft");
  EXPECT_TRUE(IsSameFile(folder / "file", folder / "file"));
  EXPECT_TRUE(IsSameFile(folder / "file", folder / "./file"));
  EXPECT_TRUE(IsSameFile(folder / "hard", folder / "file"));
  EXPECT_TRUE(IsSameFile(folder / "file", folder / "soft"));
}

TEST(IsSameFile, TellsEqualFilesApart) {
  const TempDir folder;
  WriteFile(folder / "a", Text("x"));
  WriteFile(folder / "b", Text("x"));
  EXPECT_FALSE(IsSameFile(folder / "a", folder / "b"));
  EXPECT_FALSE(IsSameFile(folder / "missing", folder / "missing"));
}

TEST(FileSize, CountsTheBytesOfAFile) {
  const TempDir folder;
  WriteFile(folder / "file", Text("12345"));
  EXPECT_EQ(5, FileSize(folder / "file"));
  EXPECT_EQ(0, FileSize(folder / "missing"));
  EXPECT_EQ(0, FileSize(folder.path()));
}

TEST(WhyUnreadable, NamesTheReason) {
  const TempDir folder;
  WriteFile(folder / "file", Text("x"));
  WriteFile(folder / "empty", {});
  EXPECT_EQ(std::nullopt, WhyUnreadable(folder / "file"));
  EXPECT_EQ("it is empty", WhyUnreadable(folder / "empty"));
  EXPECT_EQ("there is no such file", WhyUnreadable(folder / "missing"));
  EXPECT_EQ("it is a folder", WhyUnreadable(folder.path()));
  EXPECT_EQ("it is no regular file", WhyUnreadable("/dev/null"));
  EXPECT_EQ("Not a directory", WhyUnreadable(folder / "file/x"));
}

TEST(UnreadableWords, TellWhatHasChangedWhereNothingSpeaksAgainstIt) {
  const TempDir folder;
  WriteFile(folder / "file", Text("x"));
  EXPECT_EQ("it has changed meanwhile", UnreadableWords(folder / "file"));
  EXPECT_EQ("there is no such file", UnreadableWords(folder / "missing"));
}

TEST(WhyUnwritable, NamesTheReason) {
  const TempDir folder;
  const std::string file = folder / "file";
  const std::string missing = folder / "missing";
  WriteFile(file, Text("x"));
  EXPECT_EQ(std::nullopt, WhyUnwritable(file));
  EXPECT_EQ(std::nullopt, WhyUnwritable(folder / "new"));
  EXPECT_EQ(std::nullopt, WhyUnwritable("a-new-name-in-this-folder"));
  EXPECT_EQ("it has no name", WhyUnwritable(""));
  EXPECT_EQ("it is a folder", WhyUnwritable(folder.path()));
  EXPECT_EQ("there is no folder " + missing, WhyUnwritable(missing + "/x"));
  EXPECT_EQ(file + " is no folder", WhyUnwritable(file + "/x"));
}

TEST(WidePath, CarriesBytesThatAreNoText) {
  EXPECT_EQ(std::wstring(L"\u00E4\xDCFF"), Wide("\xC3\xA4\xFF"));
}
