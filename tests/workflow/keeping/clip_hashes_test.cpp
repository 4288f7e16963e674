#include "workflow/keeping/clip_hashes.h"

#include <gtest/gtest.h>
#include <filesystem>

#include "support/bytes.h"
#include "support/temp_dir.h"

using namespace clipchain;
using support::Bytes;
using support::operator+;

namespace {

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

}  // namespace
