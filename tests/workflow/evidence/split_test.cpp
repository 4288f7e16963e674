#include "workflow/evidence/split.h"

#include <gtest/gtest.h>

#include "workflow/evidence/said_clips.h"

using clipchain::ClipSays;
using clipchain::ProposedFrom;

namespace {

constexpr long long kMebibyte = 1LL << 20;
constexpr long long kGibibyte = 1LL << 30;

// A clip of that size, and one that begins when it ends.
std::string SplitAt(long long bytes, long long nextBytes = 10'000'000) {
  return ProposedFrom({ClipSays("c/xa.MP4").At(0).For(500.5).Bytes(bytes),
                       ClipSays("c/xb.MP4").At(500).For(20.3).Bytes(nextBytes)});
}
std::string SplitAfter(double seconds, double framesPerSecond = 30) {
  return ProposedFrom(
      {ClipSays("c/xa.MP4").At(0).For(seconds, framesPerSecond),
       ClipSays("c/xb.MP4").At(static_cast<std::int64_t>(seconds)).For(12.3, framesPerSecond)});
}
constexpr const char* kFound = "likely: xa.MP4 xb.MP4";

}  // namespace

TEST(Split, KnowsTheCommonSizes) {
  for (const long long bound : {2 * kGibibyte, 4'000'000'000LL, 4 * kGibibyte}) {
    EXPECT_EQ(SplitAt(bound), kFound);
    EXPECT_EQ(SplitAt(bound - 1), kFound);
    EXPECT_EQ(SplitAt(bound - 64 * kMebibyte), kFound);
    EXPECT_EQ(SplitAt(bound - 64 * kMebibyte - 1), "");
    EXPECT_EQ(SplitAt(bound + 1), "");
  }
}

TEST(Split, KnowsWholeMinutesWithinAFrame) {
  for (const int minutes : {1, 2, 3, 5, 10, 15, 20, 30}) {
    EXPECT_EQ(SplitAfter(minutes * 60), kFound) << minutes;
    EXPECT_EQ(SplitAfter(minutes * 60 + 1 / 30.0), kFound) << minutes;
    EXPECT_EQ(SplitAfter(minutes * 60 - 1 / 30.0), kFound) << minutes;
    EXPECT_EQ(SplitAfter(minutes * 60 + 1.1 / 30), "") << minutes;
    EXPECT_EQ(SplitAfter(minutes * 60 - 1.1 / 30), "") << minutes;
  }
  EXPECT_EQ(SplitAfter(4 * 60), "");
  EXPECT_EQ(SplitAfter(60.0 * 1001 / 1000, 30000.0 / 1001), "");
}

TEST(Split, FindsLimitsThatClipsShare) {
  EXPECT_EQ(ProposedFrom(
                {ClipSays("c/xa.MP4").At(0).For(532.4), ClipSays("c/xb.MP4").At(532).For(20),
                 ClipSays("c/ya.MP4").At(9000).For(532.4), ClipSays("c/yb.MP4").At(9532).For(33)}),
            "likely: xa.MP4 xb.MP4\nlikely: ya.MP4 yb.MP4");
  // Of one alone nobody knows.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/xa.MP4").At(0).For(532.4), ClipSays("c/xb.MP4").At(532).For(20),
                    ClipSays("c/yb.MP4").At(9532).For(33)}),
      "");
  // One clip exceeds it.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/xa.MP4").At(0).For(532.4), ClipSays("c/xb.MP4").At(532).For(20),
                    ClipSays("c/ya.MP4").At(9000).For(532.4), ClipSays("c/yb.MP4").At(9532).For(33),
                    ClipSays("c/z.MP4").At(50000).For(533)}),
      "");
}

TEST(Split, LimitsAreThoseOfOneDescription) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/xa.MP4").At(0).For(532.4), ClipSays("c/xb.MP4").At(532).For(20),
                    ClipSays("c/ya.MP4").At(9000).For(532.4).Like("other"),
                    ClipSays("c/yb.MP4").At(9532).For(33).Like("other")}),
      "");
}

TEST(Split, TwoRecordingsOfOneLengthByChanceAreNoLimit) {
  // The first was begun again at once, as others were that stopped anywhere.
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(45), ClipSays("c/xb.MP4").At(46).For(20),
                          ClipSays("c/xc.MP4").At(67).For(31), ClipSays("c/xd.MP4").At(99).For(12),
                          ClipSays("c/y.MP4").At(9000).For(45)}),
            "");
}

TEST(Split, WhatLooksToTwoSidesHasNoLimitAtOneMoment) {
  // Both sides of one recording are of one length; another one was begun at once.
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001F.MP4").At(0).For(281),
                          ClipSays("c/A0001R.MP4").At(0).For(281),
                          ClipSays("c/A0002F.MP4").At(282).For(120.5),
                          ClipSays("c/A0002R.MP4").At(282).For(120.5)}),
            "");
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001F.MP4").For(281).Timecode(500, 8430),
                          ClipSays("c/A0001R.MP4").For(281).Timecode(500, 8430),
                          ClipSays("c/A0002F.MP4").For(120.5).Timecode(8930, 3615),
                          ClipSays("c/A0002R.MP4").For(120.5).Timecode(8930, 3615)}),
            "");
}

TEST(Split, ARecordingBegunAgainAtOnceIsAnotherOne) {
  EXPECT_EQ(ProposedFrom(
                {ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(60).For(31),
                 ClipSays("c/A0003.MP4").At(92).For(60), ClipSays("c/A0004.MP4").At(152).For(12)}),
            "likely: A0001.MP4 A0002.MP4\nlikely: A0003.MP4 A0004.MP4");
}

TEST(Split, AClipBehindThatIsLongerDisagrees) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60).On(0),
                          ClipSays("d/xb.MP4").At(60).For(75).On(1)}),
            "");
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60).On(0),
                          ClipSays("d/xb.MP4").At(60).For(45).On(1)}),
            kFound);
}
