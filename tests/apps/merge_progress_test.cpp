#include "clipchain/merge_progress.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "support/result_matchers.h"

using namespace clipchain;

namespace {

class MergeProgressTest : public testing::Test {
 protected:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_{std::tmpfile(), std::fclose};
  ProgressLine line_{stream_.get()};
  MergeProgress progress_{{"a", "b"}, line_};
};

}  // namespace

TEST_F(MergeProgressTest, LetsACopyGoOnThatMoves) {
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 100));
  EXPECT_OK(progress_.NotifyProgress(60, 100));
  EXPECT_OK(progress_.NotifyProgress(120, 100));
  EXPECT_FALSE(progress_.StoodStill());
}

TEST_F(MergeProgressTest, EndsACopyThatStandsStill) {
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 100));
  EXPECT_OK(progress_.NotifyProgress(60, 100));
  EXPECT_RESULT(E_ABORT, progress_.NotifyProgress(60, 100));
  EXPECT_TRUE(progress_.StoodStill());
}

TEST_F(MergeProgressTest, EndsACopyThatNeverStarts) {
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 100));
  EXPECT_RESULT(E_ABORT, progress_.NotifyProgress(0, 100));
}

TEST_F(MergeProgressTest, TakesClipsWithoutMediaOneAfterTheOther) {
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 0));
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 0));
}

TEST_F(MergeProgressTest, TakesEqualReportsOfDifferentInputs) {
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 100));
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 100));
}

TEST_F(MergeProgressTest, WritesNothingWhereThereIsNoTerminal) {
  progress_.StartInput();
  EXPECT_OK(progress_.NotifyProgress(0, 100));
  line_.Clear();
  EXPECT_EQ(0, std::ftell(stream_.get()));
}
