// The small parts that a proof is made of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>

#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/keeping/clip_hashes.h"
#include "workflow/keeping/clip_layout.h"
#include "workflow/keeping/file_list.h"
#include "workflow/keeping/media_chains.h"
#include "workflow/keeping/shared_blocks.h"
#include "workflow/keeping/storage.h"
#include "workflow/system/open_file.h"
#include "workflow/system/read_folder.h"

using namespace clipchain;
using support::Bytes;
using support::operator+;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

ClipLayout LayoutOf(const Bytes& bytes) {
  const support::TempDir folder;
  support::WriteFile(folder / "x", bytes);
  FileBytes file(folder / "x");
  return ReadClipLayout(file);
}

FileStamp On(dev_t device) {
  FileStamp stamp;
  stamp.identity.device = device;
  return stamp;
}

TEST(ContentHash, IsThatOfTheToolsForIt) {
  ContentHash hash(true);
  EXPECT_EQ("99aa06d3014798d86001c324468d497f", hash.Value().xxh128);
  EXPECT_EQ("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
            hash.Value().sha256);
  hash.Update("abc", 3);
  EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
            hash.Value().sha256);
}

class ClipHashesTest : public testing::Test {
 protected:
  ClipHashesTest() {
    for (const std::size_t size : {3'000'000U, 1000U, 700'000U}) {
      clips_.push_back(folder_ / std::to_string(size));
      bytes_.emplace_back(size);
      for (std::size_t i = 0; i < size; ++i)
        bytes_.back()[i] = static_cast<unsigned char>(i * 2654435761U >> 13U);
      support::WriteFile(clips_.back(), bytes_.back());
    }
  }

  void See(ClipHashes& hashes, std::size_t clip, std::size_t from, std::size_t size) {
    hashes.See(clip, from, std::span(bytes_[clip]).subspan(from, size));
  }

  void ExpectAll(ClipHashes& hashes) {
    for (std::size_t clip = 0; clip < clips_.size(); ++clip) {
      ContentHash expected(true);
      expected.Update(bytes_[clip].data(), bytes_[clip].size());
      ContentHashes value;
      EXPECT_TRUE(hashes.Finish(clip, value));
      EXPECT_EQ(expected.Value(), value) << clip;
    }
  }

  const support::TempDir folder_;
  std::vector<std::string> clips_;
  std::vector<Bytes> bytes_;
};

TEST_F(ClipHashesTest, AreThoseOfTheWholeFilesWhateverWasSeenOfThem) {
  ClipHashes unseen(clips_, true);
  ExpectAll(unseen);
  ClipHashes inARow(clips_, true);
  See(inARow, 0, 48, 1'000'000);
  See(inARow, 0, 1'000'048, 500'000);
  See(inARow, 2, 600'000, 100'000);
  ExpectAll(inARow);
  ClipHashes jumping(clips_, true);
  See(jumping, 0, 2'000'000, 500'000);
  See(jumping, 0, 100, 500'000);
  See(jumping, 0, 2'400'000, 300'000);
  See(jumping, 0, 2'600'000, 400'000);
  See(jumping, 1, 0, 1000);
  See(jumping, 0, 0, 1000);
  ExpectAll(jumping);
}

TEST_F(ClipHashesTest, CostNoReadingOfWhatWasSeen) {
  ClipHashes hashes(clips_, true);
  See(hashes, 1, 0, 500);
  support::WriteFile(clips_[1], Bytes(500) + support::Slice(bytes_[1], 500, 1000));
  See(hashes, 1, 500, 250);
  ExpectAll(hashes);
}

TEST_F(ClipHashesTest, AreNotKnownOfWhatCanNotBeRead) {
  std::filesystem::remove(clips_[0]);
  ClipHashes hashes(clips_, false);
  See(hashes, 0, 48, 1000);
  std::filesystem::resize_file(clips_[2], 10);
  See(hashes, 2, 48, 1000);
  ContentHashes value;
  EXPECT_FALSE(hashes.Finish(0, value));
  EXPECT_FALSE(hashes.Finish(2, value));
  EXPECT_TRUE(hashes.Finish(1, value));
}

TEST(ClipLayout, KnowsAClipByItsBoxes) {
  const Bytes clip = support::Clip(30).Build();
  EXPECT_TRUE(LayoutOf(clip).isClip);
  EXPECT_THAT(LayoutOf(clip).media, SizeIs(1));
  Bytes cut = clip;
  cut.pop_back();
  EXPECT_FALSE(LayoutOf(cut).isClip);
  // As a merge has it, which passes over zeros behind the last box, and over boxes of any type.
  EXPECT_TRUE(LayoutOf(clip + Bytes{0}).isClip);
  EXPECT_TRUE(LayoutOf(clip + Bytes(70'000, 0)).isClip);
  EXPECT_FALSE(LayoutOf(clip + Bytes(70'000, 0) + Bytes{1}).isClip);
  EXPECT_FALSE(LayoutOf(clip + Bytes{0, 1}).isClip);
  EXPECT_TRUE(LayoutOf(clip + support::U32(8) + support::U32(1)).isClip);
  EXPECT_FALSE(LayoutOf(Bytes(70'000, 0)).isClip);
  EXPECT_FALSE(LayoutOf(support::Box("ftyp", {support::Text("heic")})).isClip);
  EXPECT_TRUE(LayoutOf(support::Box("moof")).isClip);
  EXPECT_FALSE(LayoutOf({}).isClip);
  EXPECT_FALSE(LayoutOf(support::Box("moov") + support::U32(1) + support::Text("mdat")).isClip);
}

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

TopLevel Media(const Extent& range, unsigned int block = 0) {
  TopLevel boxes;
  boxes.media = range;
  boxes.layout.block = block;
  return boxes;
}

TEST(MediaChains, FindTheRowThatFillsARange) {
  const support::TempDir folder;
  const Bytes a(5000, 1);
  const Bytes b(70, 2);
  const Bytes c = Bytes(5000, 1) + Bytes(10, 9);
  support::WriteFile(folder / "clips", a + b + c);
  support::WriteFile(folder / "merged", Bytes(3, 0) + c + b + a);
  FileBytes clips(folder / "clips");
  FileBytes merged(folder / "merged");
  MediaChains chains;
  chains.Add(10, clips, {{0, a.size()}});
  chains.Add(11, clips, {{a.size(), b.size()}});
  chains.Add(12, clips, {{a.size() + b.size(), c.size()}});
  std::vector<std::size_t> row;
  const auto accept = [&row](const std::vector<std::size_t>& found) {
    row = found;
    return true;
  };
  EXPECT_TRUE(chains.Find(merged, Media({3, a.size() + b.size() + c.size()}), accept));
  EXPECT_THAT(row, ElementsAre(12, 11, 10));
  EXPECT_FALSE(chains.Find(merged, Media({3, c.size() + b.size() + 1}), accept));
  EXPECT_THAT(chains.Beginning(), ElementsAre(12, 11));
  EXPECT_FALSE(chains.Find(merged, Media({3, 0}), accept));
}

TEST(ReadFolder, TellsThatAFolderIsGone) {
  const support::TempDir folder;
  fs::create_directory(folder / "f");
  support::WriteFile(folder / "f/a", Bytes(1));
  const Descriptor descriptor = OpenToRead(folder / "f", O_DIRECTORY);
  std::vector<std::string> names;
  const auto listener = [&names](const char* name) {
    names.emplace_back(name);
    return true;
  };
  EXPECT_FALSE(ReadFolder(descriptor, listener));
  EXPECT_THAT(names, ElementsAre("a"));
  fs::remove_all(folder / "f");
  EXPECT_EQ(ReadFolder(descriptor, listener), std::errc::no_such_file_or_directory);
  EXPECT_THAT(names, ElementsAre("a"));
}

// Media that a file system shares lies modulo a block where it lies in its clip.
TEST(MediaChains, FindTheRowAlongTheBlocksOfALayout) {
  const support::TempDir folder;
  const Bytes a(5000, 1);
  const Bytes b(2070, 2);
  support::WriteFile(folder / "clips", Bytes(100, 0) + a + b);
  // 100 modulo 512, and 5100 modulo 512.
  support::WriteFile(folder / "merged", Bytes(1004, 0) + b + Bytes(98, 0) + a);
  FileBytes clips(folder / "clips");
  FileBytes merged(folder / "merged");
  MediaChains chains;
  chains.Add(10, clips, {{100, a.size()}});
  chains.Add(11, clips, {{100 + a.size(), b.size()}});
  std::vector<std::size_t> row;
  const auto accept = [&row](const std::vector<std::size_t>& found) {
    row = found;
    return true;
  };
  const Extent media{900, merged.Size() - 900};
  EXPECT_TRUE(chains.Find(merged, Media(media, 512), accept));
  EXPECT_THAT(row, ElementsAre(11, 10));
  EXPECT_FALSE(chains.Find(merged, Media(media, 0), accept));
  EXPECT_FALSE(chains.Find(merged, Media(media, 2048), accept));
}

}  // namespace
