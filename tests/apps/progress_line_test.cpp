#include "clipchain/progress_line.h"

#include <gtest/gtest.h>

using namespace clipchain;

TEST(Amount, TakesTheUnitThatReadsWell) {
  EXPECT_EQ("0 B", Amount(0));
  EXPECT_EQ("999 B", Amount(999));
  EXPECT_EQ("1.0 kB", Amount(1000));
  EXPECT_EQ("999.9 kB", Amount(999'949));
  EXPECT_EQ("1.0 MB", Amount(999'950));
  EXPECT_EQ("12.3 GB", Amount(12'345'678'900));
  EXPECT_EQ("9223.4 PB", Amount(9'223'372'036'854'775'807));
}

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
