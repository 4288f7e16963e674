#include "workflow/keeping/storage.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>
#include <filesystem>

#include "support/bytes.h"
#include "support/temp_dir.h"

using namespace clipchain;

namespace fs = std::filesystem;

namespace {

TEST(Storage, IsWhatALoopDeviceShows) {
  const support::TempDir folder;
  const auto describe = [&](const std::string& number, const std::string& shown,
                            const std::string& offset) {
    const fs::path loop = folder / number / "loop";
    fs::create_directories(loop);
    support::WriteFile(loop / "backing_file", support::Text(shown + '\n'));
    support::WriteFile(loop / "offset", support::Text(offset + '\n'));
  };
  support::WriteFile(folder / "image", {1});
  describe("7:1", folder / "image", "0");
  describe("7:2", folder / "image", "0");
  describe("7:3", folder / "image", "4096");
  describe("7:4", folder / "none", "0");
  const auto storage = [&](unsigned int major, unsigned int minor) {
    return clipchain::StorageOf(makedev(major, minor), folder.path());
  };
  EXPECT_EQ(storage(7, 1), storage(7, 2));
  EXPECT_NE(storage(7, 1), storage(7, 3));
  const clipchain::Storage itself{makedev(7, 4), 0, 0};
  EXPECT_EQ(itself, storage(7, 4));
  const clipchain::Storage disk{makedev(8, 1), 0, 0};
  EXPECT_EQ(disk, storage(8, 1));
}

}  // namespace
