#include "clipchain/output/check_output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::HasSubstr;
using testing::Not;

namespace clipchain {
namespace {

std::string TextOf(std::size_t clips) {
  std::vector<std::string> inputs;
  CheckReport report;
  for (std::size_t i = 0; i < clips; ++i) {
    inputs.push_back("clip" + std::to_string(i) + ".mp4");
    report.seams.push_back({i, i == 3 ? 1.5 : 0.25});
  }
  return CheckText(inputs, report, {}, {});
}

TEST(CheckOutput, ListsTheDriftBehindEachClip) {
  EXPECT_THAT(TextOf(20), HasSubstr("   drift  behind\n"));
  EXPECT_THAT(TextOf(20), HasSubstr("      1.5 ms  clip3.mp4\n"));
  EXPECT_THAT(TextOf(20), HasSubstr("ms  clip19.mp4\n"));
  EXPECT_THAT(TextOf(1), Not(HasSubstr("drift")));
}

TEST(CheckOutput, NamesTheLargestDriftOfManyClips) {
  EXPECT_EQ(
      "drift at most 1.5 ms, behind clip3.mp4\n"
      "21 clips: nothing speaks against a merge; the merged file takes 0 B\n",
      TextOf(21));
}

}  // namespace
}  // namespace clipchain
