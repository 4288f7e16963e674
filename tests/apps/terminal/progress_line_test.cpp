#include "clipchain/terminal/progress_line.h"

#include <gtest/gtest.h>

using namespace clipchain;

TEST(CopyText, TellsClipBytesShareRateAndTimeLeft) {
  EXPECT_EQ("clip 2 of 3  150.0 MB of 600.0 MB  25 %  75.0 MB/s  0:06 left",
            CopyText({2, 3, 150'000'000, 600'000'000, 2.0}));
}

TEST(CopyText, KnowsNoTimeLeftAtTheStart) {
  EXPECT_EQ("clip 1 of 1  0 B of 8 B  0 %  0 B/s  -:-- left", CopyText({1, 1, 0, 8, 1.0}));
  EXPECT_EQ("clip 1 of 1  4 B of 8 B  50 %  40 B/s  -:-- left", CopyText({1, 1, 4, 8, 0.1}));
}

TEST(CopyText, CountsMinutesAndHours) {
  EXPECT_NE(std::string::npos, CopyText({1, 1, 1, 126, 1.0}).find("  2:05 left"));
  EXPECT_NE(std::string::npos, CopyText({1, 1, 1, 3726, 1.0}).find("  1:02:05 left"));
}

TEST(CopyText, NeverPassesTheTotal) {
  EXPECT_EQ("clip 1 of 1  8 B of 8 B  100 %  8 B/s  0:00 left", CopyText({1, 1, 9, 8, 1.0}));
  EXPECT_EQ("clip 1 of 1  0 B of 0 B  100 %  0 B/s  -:-- left", CopyText({1, 1, 0, 0, 1.0}));
}
