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

TEST(CopyText, NamesWhatIsDoneWithWhichFile) {
  CopyState state{2, 5, 150'000'000, 600'000'000, 2.0};
  state.unit = "recording";
  state.phase = "copying";
  state.name = "2024-06-01_10-00-00_clip1.mp4";
  EXPECT_EQ(
      "recording 2 of 5  copying  2024-06-01_10-00-00_clip1.mp4  150.0 MB of 600.0 MB  25 %  "
      "75.0 MB/s  0:06 left",
      CopyText(state));
  EXPECT_EQ("recording 2 of 5  copying  2024-06-01_10-00-00_clip1.mp4  25 %  0:06 left",
            CopyText(state, 79));
  EXPECT_EQ("recording 2 of 5  copying  25 %", CopyText(state, 39));
  EXPECT_EQ("25 %", CopyText(state, 10));
}

TEST(CutText, CutsBetweenCharacters) {
  EXPECT_EQ("abc", CutText("abc", 3));
  EXPECT_EQ("ab", CutText("abc", 2));
  EXPECT_EQ("\xC3\xA4\xC3\xB6", CutText("\xC3\xA4\xC3\xB6\xC3\xBC", 2));
  EXPECT_EQ("", CutText("abc", 0));
}

TEST(CopyText, NeverPassesTheTotal) {
  EXPECT_EQ("clip 1 of 1  8 B of 8 B  100 %  8 B/s  0:00 left", CopyText({1, 1, 9, 8, 1.0}));
  EXPECT_EQ("clip 1 of 1  0 B of 0 B  100 %  0 B/s  -:-- left", CopyText({1, 1, 0, 0, 1.0}));
}
