#include "workflow/keeping/shared_blocks.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

using namespace clipchain;

namespace {

FileStamp On(dev_t device) {
  FileStamp stamp;
  stamp.identity.device = device;
  return stamp;
}

TEST(SharedBlocks, AreThoseOfOneFileSystem) {
  SharedBlocks blocks;
  blocks.Add(On(1), {{100, 200, false}, {300, 400, true}});
  EXPECT_TRUE(blocks.Touch(On(1), {{0, 50, false}, {199, 250, false}}));
  EXPECT_FALSE(blocks.Touch(On(1), {{200, 300, false}, {400, 500, false}}));
  EXPECT_FALSE(blocks.Touch(On(2), {{100, 200, true}}));
  EXPECT_FALSE(blocks.Touch(On(2), {{300, 400, false}}));
  // Parts of one file system may go by different numbers.
  EXPECT_TRUE(blocks.Touch(On(2), {{350, 360, true}}));
  blocks.Add(On(1), {{0, 1000, false}});
  EXPECT_TRUE(blocks.Touch(On(1), {{900, 901, false}}));
}

TEST(SharedBlocks, AreThoseOfTheFileBeneathAnOverlay) {
  constexpr unsigned long long kAbove = 1ULL << 40;
  const auto file = [](dev_t device, unsigned long long inode, long long size) {
    FileStamp stamp;
    stamp.identity = {device, inode};
    stamp.size = size;
    return stamp;
  };
  const dev_t disk = makedev(8, 1);
  const dev_t other = makedev(8, 2);
  const dev_t overlay = makedev(0, 45);
  SharedBlocks blocks;
  blocks.Add(file(disk, 7, 150), {{100, 200, false}, {300, 350, false}});
  EXPECT_TRUE(blocks.Touch(file(overlay, 7 + kAbove, 150), {{100, 200, false}, {300, 350, false}}));
  EXPECT_FALSE(blocks.Touch(file(overlay, 7, 150), {{100, 200, false}, {300, 351, false}}));
  EXPECT_FALSE(blocks.Touch(file(overlay, 8, 150), {{100, 200, false}, {300, 350, false}}));
  EXPECT_FALSE(blocks.Touch(file(overlay, 7, 151), {{100, 200, false}, {300, 350, false}}));
  // The same place on another disk.
  EXPECT_FALSE(blocks.Touch(file(other, 7, 150), {{100, 200, false}, {300, 350, false}}));
  EXPECT_FALSE(blocks.Touch(file(overlay, 7, 150), {}));
}

}  // namespace
