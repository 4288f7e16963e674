#include "adapt/clips/clip_view.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/com_ptr.h"
#include "support/temp_dir.h"

namespace {

using clipchain::Bytes;
using clipchain::ClipView;

Bytes Numbers(unsigned char first, std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(first + i);
  return bytes;
}

class ClipViewTest : public testing::Test {
 protected:
  // The file holds the bytes 0 to 99.
  void SetUp() override {
    support::WriteFile(folder_ / "clip", Numbers(0, 100));
    int result = 0;
    view_.Attach(new ClipView((folder_ / "clip").string(), result));
    ASSERT_GE(result, 0);
  }

  Bytes Read(long long position, unsigned int size) {
    const unsigned char* data = nullptr;
    unsigned int got = 0;
    result_ = view_->GetData(position, size, data, got);
    return result_ >= 0 && data != nullptr ? Bytes(data, data + got) : Bytes();
  }

  support::TempDir folder_;
  QUIRVA::ComPtr<ClipView> view_;
  HRESULT result_ = S_OK;
};

TEST_F(ClipViewTest, GivesBytesAndRangesInARow) {
  view_->AddBytes({200, 201});
  view_->AddRange(50, 3);
  view_->AddRange(10, 2);
  view_->AddBytes({210});
  EXPECT_EQ(view_->GetFileSize(), 8);
  EXPECT_EQ(Read(0, 8), (Bytes{200, 201, 50, 51, 52, 10, 11, 210}));
  EXPECT_EQ(result_, S_OK);
  EXPECT_EQ(Read(3, 3), (Bytes{51, 52, 10}));
}

TEST_F(ClipViewTest, GivesWhatIsThereAtItsEnd) {
  view_->AddRange(0, 10);
  EXPECT_EQ(Read(8, 16), (Bytes{8, 9}));
  EXPECT_EQ(result_, S_FALSE);
  EXPECT_EQ(Read(10, 1), Bytes());
  EXPECT_EQ(result_, S_FALSE);
}

// What lies behind the bytes that are asked for may be damaged.
TEST_F(ClipViewTest, ReadsNoMoreThanIsAskedForOrAPage) {
  view_->AddRange(0, 100);
  view_->AddRange(1000000, 100000);
  EXPECT_EQ(Read(0, 100), Numbers(0, 100));
  EXPECT_EQ(Read(100, 1), Bytes());
  EXPECT_LT(result_, 0);
}

TEST_F(ClipViewTest, FailsWhereTheFileEndsTooEarly) {
  view_->AddRange(90, 20);
  Read(0, 20);
  EXPECT_LT(result_, 0);
}

TEST_F(ClipViewTest, KnowsWhereItsBytesStandInTheFile) {
  view_->AddBytes({1, 2, 3});
  view_->AddRange(40, 5);
  EXPECT_EQ(view_->FilePosition(2), -1);
  EXPECT_EQ(view_->FilePosition(3), 40);
  EXPECT_EQ(view_->FilePosition(7), 44);
  EXPECT_EQ(view_->FilePosition(8), -1);
  EXPECT_EQ(view_->FilePosition(-1), -1);
}

TEST_F(ClipViewTest, PassesOverEmptyPieces) {
  view_->AddBytes({});
  view_->AddRange(5, 0);
  view_->AddRange(7, 1);
  EXPECT_EQ(Read(0, 1), (Bytes{7}));
}

TEST(ClipView, SaysThatAFileCannotBeOpened) {
  int result = 0;
  const QUIRVA::ComPtr<ClipView> view = ClipView::OfWhole("/nowhere/clip.mp4", result);
  EXPECT_LT(result, 0);
}

TEST_F(ClipViewTest, NeedsNoFileForWhatIsMadeInMemory) {
  view_->AddBytes(Numbers(200, 20));
  view_->AddRange(10, 5);
  std::filesystem::remove(folder_ / "clip");
  EXPECT_EQ(Read(0, 16), Numbers(200, 16));
  EXPECT_EQ(Read(16, 4), Numbers(216, 4));
  EXPECT_TRUE(Read(16, 5).empty());
  EXPECT_LT(result_, 0);
  // What was cached is not taken for what could not be read.
  EXPECT_EQ(Read(4, 2), Numbers(204, 2));
}

}  // namespace
