#include "workflow/keeping/file_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <filesystem>

#include "support/temp_dir.h"

using namespace clipchain;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

TEST(FileList, NamesAllThatLiesBelow) {
  const support::TempDir folder;
  fs::create_directories(folder / ".hidden/deep");
  support::WriteFile(folder / ".hidden/deep/a", {1});
  support::WriteFile(folder / "b", {});
  fs::create_symlink("b", folder / "link");
  fs::create_directory_symlink(".hidden", folder / "again");
  const FileList list = ListFiles(folder.path());
  ASSERT_THAT(list.files, SizeIs(2));
  EXPECT_EQ(folder / ".hidden/deep/a", list.files[0].path);
  EXPECT_EQ(1, list.files[0].stamp.size);
  EXPECT_THAT(list.leftAside, SizeIs(2));
  EXPECT_THAT(list.unreadable, IsEmpty());
  EXPECT_THAT(ListFiles(folder / "none").unreadable, SizeIs(1));
  EXPECT_THAT(ListFiles(folder / "b").unreadable, SizeIs(1));
  const FileList some = ListFiles(folder.path(), [](std::size_t) { return false; });
  ASSERT_THAT(some.unreadable, SizeIs(1));
  EXPECT_EQ(folder.path().string(), some.unreadable[0].path);
}

}  // namespace
