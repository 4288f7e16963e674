#include "workflow/system/text_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "support/temp_dir.h"

namespace fs = std::filesystem;
using clipchain::WhyNoTextFile;
using clipchain::WriteTextFile;
using support::ReadFile;
using support::Text;

namespace {

class TextFile : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return (folder / name).string(); }
  // Names in the folder, so that nothing hidden stays unseen.
  std::size_t Entries() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
  }

  support::TempDir folder;
};

}  // namespace

TEST_F(TextFile, HasAllOfItsTextAndNothingElseIsLeft) {
  const std::string text(300000, 'x');
  EXPECT_EQ(std::nullopt, WhyNoTextFile(At("a"), false));
  EXPECT_EQ(std::nullopt, WriteTextFile(At("a"), text, false));
  EXPECT_EQ(Text(text), ReadFile(At("a")));
  EXPECT_EQ(1u, Entries());
}

TEST_F(TextFile, ReplacesOnlyOnRequest) {
  support::WriteFile(At("a"), Text("old"));
  EXPECT_EQ("exists already; --overwrite replaces it", WhyNoTextFile(At("a"), false));
  EXPECT_EQ("exists already; --overwrite replaces it", WriteTextFile(At("a"), "new", false));
  EXPECT_EQ(Text("old"), ReadFile(At("a")));
  EXPECT_EQ(std::nullopt, WriteTextFile(At("a"), "new", true));
  EXPECT_EQ(Text("new"), ReadFile(At("a")));
  EXPECT_EQ(1u, Entries());
}

TEST_F(TextFile, NeverReplacesWhatIsNoFile) {
  fs::create_directory(At("folder"));
  EXPECT_EQ("is a folder", WriteTextFile(At("folder"), "new", true));
  ASSERT_EQ(0, ::mkfifo(At("pipe").c_str(), 0600));
  EXPECT_EQ("exists already and is no regular file", WriteTextFile(At("pipe"), "new", true));
  support::WriteFile(At("a"), Text("old"));
  fs::create_symlink(At("a"), At("link"));
  EXPECT_EQ("exists already and is no regular file", WriteTextFile(At("link"), "new", true));
  EXPECT_EQ(Text("old"), ReadFile(At("a")));
}

TEST_F(TextFile, SaysWhyItCannotBeWritten) {
  EXPECT_EQ("can't be written: it has no name", WriteTextFile("", "new", false));
  EXPECT_EQ("can't be written: there is no folder " + At("absent"),
            WriteTextFile(At("absent/a"), "new", false));
  EXPECT_EQ(0u, Entries());
}

TEST_F(TextFile, TakesNamesOfAnyBytes) {
  EXPECT_EQ(std::nullopt, WriteTextFile(At("\xFF\n<b>"), "text", false));
  EXPECT_EQ(Text("text"), ReadFile(At("\xFF\n<b>")));
}
