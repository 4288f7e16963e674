#include "workflow/merging/copy_progress.h"

#include <gtest/gtest.h>

#include "support/result_matchers.h"
#include "support/temp_dir.h"

using clipchain::CopyProgress;
using clipchain::Step;

namespace {

class CopyProgressTest : public testing::Test {
 protected:
  CopyProgressTest() {
    for (const auto& [name, size] : {std::pair{"a", 200}, {"b", 300}, {"c", 500}}) {
      support::WriteFile(folder / name, support::Zeros(static_cast<std::size_t>(size)));
      inputs.push_back(folder / name);
    }
  }

  support::TempDir folder;
  std::vector<std::string> inputs;
  std::vector<Step> steps;
  bool goOn = true;
  clipchain::Progress listener = [this](const Step& step) {
    steps.push_back(step);
    return goOn;
  };
};

}  // namespace

TEST_F(CopyProgressTest, AddsUpTheInputs) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 190));
  EXPECT_OK(progress.NotifyProgress(250, 190));
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 290));
  EXPECT_OK(progress.NotifyProgress(100, 290));
  ASSERT_EQ(4u, steps.size());
  const long long expected[] = {0, 190, 200, 300};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(Step::Phase::kCopying, steps[i].phase);
    EXPECT_EQ(expected[i], steps[i].current);
    EXPECT_EQ(1000, steps[i].total);
    EXPECT_EQ(i / 2, steps[i].clip);
  }
  EXPECT_FALSE(progress.StoodStill());
}

TEST_F(CopyProgressTest, EndsACopyThatStandsStill) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 100));
  EXPECT_OK(progress.NotifyProgress(60, 100));
  EXPECT_FALSE(progress.StoodStill());
  EXPECT_RESULT(E_ABORT, progress.NotifyProgress(60, 100));
  EXPECT_TRUE(progress.StoodStill());
  EXPECT_FALSE(progress.Stopped());
}

TEST_F(CopyProgressTest, EndsACopyThatNeverStarts) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 100));
  EXPECT_RESULT(E_ABORT, progress.NotifyProgress(0, 100));
}

TEST_F(CopyProgressTest, TakesClipsWithoutMediaOneAfterTheOther) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 0));
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 0));
}

TEST_F(CopyProgressTest, TakesEqualReportsOfDifferentInputs) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 100));
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 100));
}

TEST_F(CopyProgressTest, EndsTheCopyWhenTheListenerSaysSo) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  goOn = false;
  EXPECT_RESULT(E_ABORT, progress.NotifyProgress(0, 100));
  EXPECT_TRUE(progress.Stopped());
  EXPECT_FALSE(progress.StoodStill());
  goOn = true;
  EXPECT_FALSE(progress.Tell(Step::Phase::kVerifying)) << "it stays stopped";
}

TEST_F(CopyProgressTest, NeedsNoListener) {
  listener = nullptr;
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_OK(progress.NotifyProgress(0, 100));
  EXPECT_TRUE(progress.Tell(Step::Phase::kFlushing));
}
