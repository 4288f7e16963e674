// What the clips of examples/ say about themselves, as a camera's clips do.
#include <gtest/gtest.h>

#include <array>

#include "clip/sequence.h"
#include "clip/sequence_creator.h"
#include "clip/vireo_mp4.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using namespace MP4G;

namespace {

std::wstring Path(unsigned int number) {
  return support::SourcePath("examples/clips/clip" + std::to_string(number) + ".mp4").wstring();
}

class ExampleClips : public testing::Test {
 protected:
  void SetUp() override {
    for (unsigned int i = 0; i < 3; ++i) ASSERT_OK(clips_[i].ParseFile(Path(i + 1).c_str()));
  }

  std::array<CVireoMp4, 3> clips_{CVireoMp4(0), CVireoMp4(0), CVireoMp4(0)};
};

TEST_F(ExampleClips, CarryTheCamerasMark) {
  for (const CVireoMp4& clip : clips_) {
    EXPECT_EQ(1, clip.isVireoStream);
    EXPECT_EQ(1, clip.hasIDBox);
  }
}

TEST_F(ExampleClips, NameTheirNeighbours) {
  const _GUID nothing{};
  EXPECT_EQ(nothing, clips_[0].preID);
  EXPECT_EQ(clips_[1].uniqueID, clips_[0].nextID);
  EXPECT_EQ(clips_[0].uniqueID, clips_[1].preID);
  EXPECT_EQ(clips_[2].uniqueID, clips_[1].nextID);
  EXPECT_EQ(clips_[1].uniqueID, clips_[2].preID);
  EXPECT_EQ(nothing, clips_[2].nextID);
}

TEST_F(ExampleClips, WereRecordedOneBehindTheOther) {
  EXPECT_EQ((_tagSequenceTimedate{2024, 6, 1, 10, 0, 0}), clips_[0].timedate);
  EXPECT_EQ((_tagSequenceTimedate{2024, 6, 1, 10, 0, 2}), clips_[1].timedate);
  EXPECT_EQ((_tagSequenceTimedate{2024, 6, 1, 10, 0, 5}), clips_[2].timedate);
}

TEST_F(ExampleClips, HaveATimecodeThatRunsOn) {
  EXPECT_OK(clips_[0].CheckTimecodeContinuity(&clips_[1]));
  EXPECT_OK(clips_[1].CheckTimecodeContinuity(&clips_[2]));
  EXPECT_RESULT(S_FALSE, clips_[0].CheckTimecodeContinuity(&clips_[2]));
  EXPECT_RESULT(S_FALSE, clips_[1].CheckTimecodeContinuity(&clips_[0]));
}

TEST_F(ExampleClips, FormOneSequenceInWhateverOrderTheyAreFound) {
  CSequenceCreator creator(nullptr);
  for (const unsigned int number : {3u, 1u, 2u}) {
    ASSERT_OK(creator.RegisterMp4(Path(number).c_str(), _GUID{}, _GUID{}));
  }
  CMp4Sequence* sequence = creator.GetSequenceAtIndex(0);
  ASSERT_NE(nullptr, sequence);
  EXPECT_EQ(nullptr, creator.GetSequenceAtIndex(1));
  ASSERT_EQ(3u, sequence->GetFileCount());
  for (unsigned int i = 0; i < 3; ++i) EXPECT_EQ(Path(i + 1), sequence->GetFilePathAtIndex(i));
  EXPECT_EQ(0, sequence->IsUnclosedSequence());
  EXPECT_EQ(1, sequence->ConsistsOfVireoStream());
}

}  // namespace
