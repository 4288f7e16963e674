#include "workflow/system/part_file.h"
#include "workflow/leftovers.h"
#include "workflow/system/part_name.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <regex>
#include <system_error>

#include "support/temp_dir.h"

using clipchain::FindLeftovers;
using clipchain::Leftover;
using clipchain::PartFile;
using clipchain::RemoveLeftover;
using support::Text;

namespace fs = std::filesystem;

namespace {

class PartFileTest : public testing::Test {
 protected:
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.path()))
      names.push_back(entry.path().filename());
    return names;
  }
  std::string Put(const std::string& name, const std::string& text = "abc") const {
    support::WriteFile(folder / name, Text(text));
    return folder / name;
  }

  support::TempDir folder;
  std::string output = folder / "out.mp4";
};

constexpr char kLeftover[] = ".out.mp4.clipchain-4711-0123456789abcdef.part";

}  // namespace

TEST(PathParts, AreFolderAndName) {
  EXPECT_EQ("a/b", clipchain::FolderOf("a/b/c"));
  EXPECT_EQ("c", clipchain::NameOf("a/b/c"));
  EXPECT_EQ(".", clipchain::FolderOf("c"));
  EXPECT_EQ("c", clipchain::NameOf("c"));
  EXPECT_EQ("/", clipchain::FolderOf("/c"));
  EXPECT_EQ("", clipchain::NameOf("a/"));
}

TEST_F(PartFileTest, IsHiddenBesideTheOutputWithAnOrdinaryMode) {
  const mode_t mask = ::umask(027);
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(output));
  ::umask(mask);
  ASSERT_EQ(1u, Names().size());
  EXPECT_TRUE(std::regex_match(Names()[0],
                               std::regex("\\.out\\.mp4\\.clipchain-[0-9]+-[0-9a-f]{16}\\.part")))
      << Names()[0];
  EXPECT_EQ(folder / Names()[0], part.path());
  struct stat status;
  ASSERT_EQ(0, ::fstat(part.descriptor(), &status));
  EXPECT_EQ(0640u, status.st_mode & 07777);
}

TEST_F(PartFileTest, GoesWhenNobodyPublishesIt) {
  {
    PartFile part;
    ASSERT_EQ(std::error_code(), part.Create(output));
  }
  EXPECT_TRUE(Names().empty());
}

TEST_F(PartFileTest, TakesTheNameOfTheOutput) {
  {
    PartFile part;
    ASSERT_EQ(std::error_code(), part.Create(output));
    ASSERT_EQ(3, ::write(part.descriptor(), "abc", 3));
    EXPECT_EQ(std::error_code(), part.Publish(false));
    EXPECT_EQ(std::error_code(), part.FlushFolder());
  }
  EXPECT_EQ(std::vector<std::string>{"out.mp4"}, Names());
  EXPECT_EQ(Text("abc"), support::ReadFile(output));
}

TEST_F(PartFileTest, ReplacesNothingUnlessTold) {
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(output));
  Put("out.mp4", "old");
  EXPECT_EQ(std::errc::file_exists, part.Publish(false));
  EXPECT_EQ(Text("old"), support::ReadFile(output));
  EXPECT_EQ(std::error_code(), part.Publish(true));
  EXPECT_EQ(Text(""), support::ReadFile(output));
}

TEST_F(PartFileTest, NeverPublishesOverALinkThatLeadsNowhere) {
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(output));
  fs::create_symlink("nowhere", output);
  EXPECT_EQ(std::errc::file_exists, part.Publish(false));
  EXPECT_TRUE(fs::is_symlink(output));
}

TEST_F(PartFileTest, IsDiscardedOnce) {
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(output));
  EXPECT_EQ(std::error_code(), part.Discard());
  EXPECT_TRUE(Names().empty());
  EXPECT_EQ(std::error_code(), part.Discard());
}

TEST_F(PartFileTest, SaysWhyItCannotBeCreated) {
  EXPECT_EQ(std::errc::no_such_file_or_directory, PartFile().Create(folder / "missing/out.mp4"));
  EXPECT_EQ(std::errc::not_a_directory, PartFile().Create(Put("file") + "/out.mp4"));
  for (const char* name : {"", "/", "/.", "/.."})
    EXPECT_EQ(std::errc::is_a_directory,
              PartFile().Create(folder.path().string() + name + (*name ? "" : "/")));
}

TEST_F(PartFileTest, CutsNamesAtTheLimitBetweenCharacters) {
  std::string name;
  while (name.size() < 251) name += "\xC3\xA4";
  // What is no text is cut all the same.
  PartFile odd;
  ASSERT_EQ(std::error_code(), odd.Create(folder / std::string(255, '\x80')));
  for (const std::string& shift : {std::string(), std::string("x")}) {
    const std::string longest = folder / (shift + name.substr(0, 250) + ".mp4");
    PartFile part;
    ASSERT_EQ(std::error_code(), part.Create(longest)) << shift;
    EXPECT_GE(255u, fs::path(part.path()).filename().string().size());
    EXPECT_TRUE(FindLeftovers(longest).empty());
    const std::string end = ".clipchain-";
    const std::size_t at = part.path().find(end);
    ASSERT_NE(std::string::npos, at);
    EXPECT_EQ("\xC3\xA4", part.path().substr(at - 2, 2));
  }
}

TEST_F(PartFileTest, TakesNamesOfAnyBytes) {
  const std::string odd = folder / "\xFF\xC3\n.mp4";
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(odd));
  EXPECT_NE(std::string::npos, part.path().find("/.\xFF\xC3\n.mp4.clipchain-"));
  EXPECT_EQ(std::error_code(), part.Publish(false));
  EXPECT_TRUE(fs::exists(odd));
}

TEST_F(PartFileTest, FindsWhatWasLeftBehind) {
  Put(kLeftover);
  const std::vector<Leftover> found = FindLeftovers(output);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(folder / kLeftover, found[0].path);
  EXPECT_EQ(3, found[0].size);
  EXPECT_EQ(std::error_code(), RemoveLeftover(found[0]));
  EXPECT_TRUE(Names().empty());
  EXPECT_EQ(std::errc::no_such_file_or_directory, RemoveLeftover(found[0]));
}

TEST_F(PartFileTest, TakesNothingElseForALeftover) {
  for (const char* name :
       {"out.mp4", ".out.mp4", ".out.mp4.part", "out.mp4.clipchain-1-0123456789abcdef.part",
        ".other.mp4.clipchain-1-0123456789abcdef.part", ".out.mp4.clipchain-1-0123456789abcdef",
        ".out.mp4.clipchain-1-0123456789abcde.part", ".out.mp4.clipchain--0123456789abcdef.part",
        ".out.mp4.clipchain-1x0123456789abcdef.part", ".out.mp4.clipchain-x-0123456789abcdef.part",
        ".out.mp4.clipchain-1-0123456789ABCDEF.part"})
    Put(name);
  fs::create_directory(folder / ".out.mp4.clipchain-1-00000000000000ff.part");
  fs::create_symlink("out.mp4", folder / ".out.mp4.clipchain-1-00000000000000fe.part");
  EXPECT_TRUE(FindLeftovers(output).empty());
  EXPECT_TRUE(FindLeftovers(folder / "missing/out.mp4").empty());
}

TEST_F(PartFileTest, LeavesTheFileOfALivingProcessAlone) {
  const std::string path = Put(kLeftover);
  const std::vector<Leftover> found = FindLeftovers(output);
  ASSERT_EQ(1u, found.size());
  const int file = ::open(path.c_str(), O_RDWR);
  ASSERT_EQ(0, ::flock(file, LOCK_EX));
  EXPECT_TRUE(FindLeftovers(output).empty());
  EXPECT_EQ(std::errc::operation_would_block, RemoveLeftover(found[0]));
  EXPECT_TRUE(fs::exists(path));
  ::close(file);
  EXPECT_EQ(1u, FindLeftovers(output).size());
}

TEST_F(PartFileTest, HoldsItsLockUntilItIsPublished) {
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(output));
  EXPECT_TRUE(FindLeftovers(output).empty());
  EXPECT_EQ(std::errc::operation_would_block, RemoveLeftover({part.path(), 0}));
}
