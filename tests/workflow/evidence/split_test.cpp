#include "workflow/evidence/split.h"

#include <gmock/gmock.h>
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

// Also where other recordings are begun again at once.
TEST(Split, KnowsWholeMinutesOfOneClip) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/xa.MP4").At(0).For(180), ClipSays("c/xb.MP4").At(180).For(56),
                    ClipSays("c/y.MP4").At(237).For(36), ClipSays("c/z.MP4").At(274).For(99)}),
      "likely: xa.MP4 xb.MP4");
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

TEST(Split, TwoMomentsOfAboutOneSizeAreNoLimitIfOneAloneIsFollowed) {
  const auto card = [](int next) {
    std::vector<ClipSays> clips;
    for (const std::string side : {"F", "R"}) {
      clips.push_back(
          ClipSays("c/A0001" + side + ".MP4").At(0).For(698.9).Bytes(2'797'000'000 - side[0]));
      clips.push_back(ClipSays("c/A0002" + side + ".MP4").At(next).For(20).Bytes(80'000'000));
      clips.push_back(
          ClipSays("c/A0003" + side + ".MP4").At(90'000).For(696).Bytes(2'754'000'000 - side[0]));
      clips.push_back(ClipSays("c/A0004" + side + ".MP4").At(90'696).For(424).Bytes(1'693'000'000));
    }
    return ProposedFrom(clips);
  };
  EXPECT_EQ(card(20'000), "");
  EXPECT_THAT(card(699), testing::HasSubstr("likely: A0003F.MP4 A0004F.MP4"));
}

TEST(Split, ASizeThatAFullClipHasIsNoLimitOfOthers) {
  // Clips stop at a minute; one that was ended by hand is as large as one of them.
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(51).Bytes(90'100'000),
                          ClipSays("c/A0002.MP4").At(52).For(60).Bytes(90'000'000),
                          ClipSays("c/A0003.MP4").At(112).For(33)}),
            "likely: A0002.MP4 A0003.MP4");
}

TEST(Split, ASizeThatAClipOfAnOwnLengthHasIsNoLimitOfOthers) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(441).Bytes(900'000'000),
                          ClipSays("c/ya.MP4").At(442).For(657.7).Bytes(899'900'000),
                          ClipSays("c/yb.MP4").At(1100).For(657.7).Bytes(850'000'000),
                          ClipSays("c/yc.MP4").At(1757).For(657.7).Bytes(860'000'000),
                          ClipSays("c/yd.MP4").At(2415).For(20)}),
            "likely: ya.MP4 yb.MP4 yc.MP4 yd.MP4");
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(630.8).Bytes(1'666'000'000),
                          ClipSays("c/ya.MP4").At(631).For(657.7).Bytes(1'633'000'000),
                          ClipSays("c/yb.MP4").At(1289).For(657.7).Bytes(1'648'000'000),
                          ClipSays("c/yc.MP4").At(1947).For(657.7).Bytes(1'679'000'000),
                          ClipSays("c/yd.MP4").At(2604).For(20)}),
            "likely: ya.MP4 yb.MP4 yc.MP4 yd.MP4");
}

// Where every second weighs the same, clips of one size are as long, too, but for some pictures.
TEST(Split, ASizeOfAnEvenRateIsALimitThoughSomeHaveOneLength) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(657.5).Bytes(6'575'000'000),
                          ClipSays("c/xb.MP4").At(658).For(657.7).Bytes(6'577'000'000),
                          ClipSays("c/xc.MP4").At(1315).For(20).Bytes(200'000'000),
                          ClipSays("c/ya.MP4").At(9000).For(657.7).Bytes(6'577'000'000),
                          ClipSays("c/yb.MP4").At(9658).For(657.6).Bytes(6'576'000'000),
                          ClipSays("c/yc.MP4").At(10315).For(657.7).Bytes(6'577'000'000),
                          ClipSays("c/yd.MP4").At(10973).For(30).Bytes(300'000'000)}),
            "likely: xa.MP4 xb.MP4 xc.MP4\nlikely: ya.MP4 yb.MP4 yc.MP4 yd.MP4");
}

TEST(Split, AnIdentityShowsThatClipsOfOneLengthAreFollowed) {
  // Single recordings behind them have the next numbers, but other values.
  const auto clip = [](const char* name, double seconds, char value) {
    return ClipSays(name).For(seconds).Value("udta/ABCD", std::string(15, value) + '\xff');
  };
  EXPECT_EQ(ProposedFrom({clip("c/A0001.MP4", 532.4, 'a'), clip("c/A0002.MP4", 532.4, 'a'),
                          clip("c/A0003.MP4", 20, 'a'), clip("c/A0004.MP4", 45, 'b'),
                          clip("c/A0005.MP4", 71, 'c'), clip("c/A0006.MP4", 12, 'd')}),
            "certain: A0001.MP4 A0002.MP4 A0003.MP4");
  // Clips of one size, too.
  const auto sized = [&](const char* name, double seconds, char value, long long bytes) {
    return clip(name, seconds, value).Bytes(bytes);
  };
  EXPECT_EQ(ProposedFrom({sized("c/A0001.MP4", 1201, 'a', 5'999'900'000),
                          sized("c/A0002.MP4", 1188, 'a', 5'999'950'000),
                          sized("c/A0003.MP4", 20, 'a', 99'000'000),
                          sized("c/A0004.MP4", 45, 'b', 205'000'000)}),
            "certain: A0001.MP4 A0002.MP4 A0003.MP4");
}
