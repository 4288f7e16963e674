#include "workflow/merging/copy_progress.h"

#include <gtest/gtest.h>

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
  EXPECT_TRUE(progress.Copied(0));
  EXPECT_TRUE(progress.Copied(190));
  progress.StartInput();
  EXPECT_TRUE(progress.Copied(0));
  EXPECT_TRUE(progress.Copied(100));
  ASSERT_EQ(4u, steps.size());
  const long long expected[] = {0, 190, 200, 300};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(Step::Phase::kCopying, steps[i].phase);
    EXPECT_EQ(expected[i], steps[i].current);
    EXPECT_EQ(1000, steps[i].total);
    EXPECT_EQ(i / 2, steps[i].clip);
  }
}

TEST_F(CopyProgressTest, BeginsAgainWithTheFirstInput) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  progress.StartInput();
  progress.StartAgain();
  progress.StartInput();
  EXPECT_TRUE(progress.Copied(7));
  EXPECT_EQ(7, steps.back().current);
  EXPECT_EQ(0u, steps.back().clip);
}

TEST_F(CopyProgressTest, EndsTheCopyWhenTheListenerSaysSo) {
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  goOn = false;
  EXPECT_FALSE(progress.Copied(0));
  EXPECT_TRUE(progress.Stopped());
  goOn = true;
  EXPECT_FALSE(progress.Tell(Step::Phase::kVerifying)) << "it stays stopped";
}

TEST_F(CopyProgressTest, NeedsNoListener) {
  listener = nullptr;
  CopyProgress progress(inputs, listener);
  progress.StartInput();
  EXPECT_TRUE(progress.Copied(0));
  EXPECT_TRUE(progress.Tell(Step::Phase::kFlushing));
}
