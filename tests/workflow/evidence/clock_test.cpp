#include "workflow/evidence/clock.h"

#include <gtest/gtest.h>

#include "workflow/evidence/said_clips.h"

using clipchain::ClipSays;
using clipchain::kSomeDay;
using clipchain::ProposedFrom;
using clipchain::ThreeOfOneTime;
using clipchain::UsableTime;

namespace {

// A recording of two clips split at a minute, begun `gap` seconds after the first one ends; and one
// that shows what the camera's times are the times of.
std::vector<ClipSays> TwoClips(double gap) {
  return {ClipSays("c/xa.MP4").At(0).For(60 - gap).Bytes(1'999'000'000 + 100'000'000),
          ClipSays("c/xb.MP4").At(60).For(20)};
}

std::uint64_t DaysAfter1904(std::uint64_t days, std::uint64_t seconds) {
  return days * 86400 + seconds;
}
constexpr std::uint64_t kDaysTo1970 = 24107;
constexpr std::uint64_t kDaysTo2015 = kDaysTo1970 + 16436;

}  // namespace

TEST(Clock, RunsOnWithinTwoSeconds) {
  // Both stop at 2 GiB, so that only the clock decides.
  EXPECT_EQ(ProposedFrom(TwoClips(2.0)), "likely: xa.MP4 xb.MP4");
  EXPECT_EQ(ProposedFrom(TwoClips(-2.0)), "likely: xa.MP4 xb.MP4");
  EXPECT_EQ(ProposedFrom(TwoClips(2.1)), "");
  EXPECT_EQ(ProposedFrom(TwoClips(-2.1)), "");
}

TEST(Clock, IsSilentWhereItWasNeverSet) {
  EXPECT_FALSE(UsableTime(0));
  EXPECT_FALSE(UsableTime(3600 * 24 * 40));  // in 1904
  EXPECT_FALSE(UsableTime(DaysAfter1904(kDaysTo1970, 0)));
  EXPECT_FALSE(UsableTime(DaysAfter1904(kDaysTo1970 + 100, 0)));
  EXPECT_FALSE(UsableTime(DaysAfter1904(kDaysTo2015, 0)));
  EXPECT_FALSE(UsableTime(DaysAfter1904(kDaysTo2015, 3599)));
  EXPECT_FALSE(UsableTime(DaysAfter1904(kDaysTo2015, 3600)));
  EXPECT_TRUE(UsableTime(DaysAfter1904(kDaysTo2015, 3601)));
  EXPECT_TRUE(UsableTime(DaysAfter1904(kDaysTo2015, 0) - 1));
  EXPECT_FALSE(UsableTime(~std::uint64_t{0}));
}

TEST(Clock, OfAResetCameraLeavesTheNumbers) {
  const std::uint64_t newYear = DaysAfter1904(kDaysTo2015, 10);
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").Created(newYear).For(60),
                          ClipSays("c/A0002.MP4").Created(newYear + 60).For(60),
                          ClipSays("c/A0003.MP4").Created(newYear + 120).For(7)}),
            "possible: A0001.MP4 A0002.MP4 A0003.MP4");
}

TEST(Clock, RunsOnOverMidnight) {
  const std::int64_t toMidnight = 86400 - static_cast<std::int64_t>(kSomeDay % 86400);
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(toMidnight - 30).For(60),
                          ClipSays("c/xb.MP4").At(toMidnight + 30).For(60),
                          ClipSays("c/xc.MP4").At(toMidnight + 90).For(20)}),
            "likely: xa.MP4 xb.MP4 xc.MP4");
}

TEST(Clock, ThatIsSetToSummerTimeInBetweenDisagrees) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(60).For(60),
                    ClipSays("c/A0003.MP4").At(3600 + 120).For(20)}),
      "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").At(3600).For(60),
                          ClipSays("c/A0002.MP4").At(3660).For(60),
                          ClipSays("c/A0003.MP4").At(120).For(20)}),
            "likely: A0001.MP4 A0002.MP4");
}

TEST(Clock, MayBeThatOfTheEnd) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(60).For(60), ClipSays("c/xb.MP4").At(120).For(60),
                          ClipSays("c/xc.MP4").At(137).For(17)}),
            "likely: xa.MP4 xb.MP4 xc.MP4");
}

TEST(Clock, MayBeThatOfTheRecording) {
  EXPECT_EQ(ProposedFrom(
                {ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(0).For(60),
                 ClipSays("c/A0003.MP4").At(0).For(17), ClipSays("c/A0004.MP4").At(500).For(30)}),
            "likely: A0001.MP4 A0002.MP4 A0003.MP4");
}

TEST(Clock, OfTwoClipsOfOneTimeAndLengthMayBeThatOfTwoSides) {
  const auto pair = [](double second) {
    return ProposedFrom(
        {ClipSays("c/001.MP4").At(0).For(47), ClipSays("c/002.MP4").At(0).For(second)});
  };
  EXPECT_EQ(pair(47), "possible: 001.MP4 002.MP4");
  EXPECT_EQ(pair(17), "");
}

TEST(Clock, OfTheRecordingGivesNoOrderWithoutNumbers) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60), ClipSays("c/xb.MP4").At(0).For(60),
                          ClipSays("c/xc.MP4").At(0).For(17)}),
            "");
}

TEST(Clock, OfTheRecordingWithAClipThatHasNoPlaceIsNoWholeOne) {
  EXPECT_EQ(
      ProposedFrom(
          {ClipSays("c/CLIP0034.MP4").At(0).For(60), ClipSays("c/CL010034.MP4").At(0).For(60),
           ClipSays("c/CL020034.MP4").At(0).For(60), ClipSays("c/CL030034.MP4").At(0).For(17)}),
      "incomplete likely: CL010034.MP4 CL020034.MP4 CL030034.MP4");
}

TEST(Clock, ThatStandsStillIsSilent) {
  // The first one ends ahead of the limit: numbers and lengths keep the clips apart.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(31), ClipSays("c/A0002.MP4").At(0).For(60),
                    ClipSays("c/A0003.MP4").At(0).For(60), ClipSays("c/A0007.MP4").At(0).For(17)}),
      "possible: A0002.MP4 A0003.MP4");
}

// Two full chapters and the rest: what looks to two sides would have made two of the last one, too.
TEST(Clock, OfTheRecordingOrdersTwoFullChaptersAndTheLastOne) {
  const ClipSays first = ClipSays("c/A0001.MP4").At(0).For(473);
  const ClipSays second = ClipSays("c/A0002.MP4").At(0).For(473);
  const ClipSays other = ClipSays("c/A0009.MP4").At(5000).For(20);
  EXPECT_EQ(ProposedFrom({first, second, ClipSays("c/A0003.MP4").At(0).For(20), other}),
            "likely: A0001.MP4 A0002.MP4 A0003.MP4");
  EXPECT_EQ(ProposedFrom({first, second, ClipSays("c/A0003.MP4").At(0).For(20),
                          ClipSays("c/A0004.MP4").At(0).For(20), other}),
            "possible: A0001.MP4 A0002.MP4 A0003.MP4");
}

// Both clips of the one side and one of the other: as three chapters would be.
TEST(Clock, OfThreeClipsAloneMayBeThatOfTwoSides) {
  EXPECT_EQ(ThreeOfOneTime(60, 60, 80), "possible: A0001.MP4 A0002.MP4 A0003.MP4");
  // Files that were written one after the other were not recorded at a time.
  EXPECT_EQ(ThreeOfOneTime(60, 120, 140), "likely: A0001.MP4 A0002.MP4 A0003.MP4");
  // Sides have no chapters of one recording, by their names.
  EXPECT_EQ(ProposedFrom({ClipSays("c/AB010034.MP4").At(0).For(60),
                          ClipSays("c/AB020034.MP4").At(0).For(60),
                          ClipSays("c/AB030034.MP4").At(0).For(20)}),
            "likely: AB010034.MP4 AB020034.MP4 AB030034.MP4");
}

// One clip is full, and the clock never moves: the times of the files show a pause.
TEST(Clock, OfAllClipsIsSilentWhereTheirFilesWereWrittenWithAPause) {
  const auto two = [](double second) {
    return ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60).Written(60),
                         ClipSays("c/A0002.MP4").At(0).For(17).Written(second)});
  };
  EXPECT_EQ(two(60 + 17), "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two(60 + 17 + 4), "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two(60 + 17 + 4.1), "possible: A0001.MP4 A0002.MP4");
  // Copied: closer to each other than the second one runs.
  EXPECT_EQ(two(61), "likely: A0001.MP4 A0002.MP4");
}

TEST(Clock, OfTwoSidesIsSilentWhereTheFilesOfBothWereWrittenWithAPause) {
  const auto four = [](double second) {
    return ProposedFrom({ClipSays("c/A0001F.MP4").At(0).For(60).Written(60),
                         ClipSays("c/A0001R.MP4").At(0).For(60).Written(60),
                         ClipSays("c/A0002F.MP4").At(0).For(17).Written(second),
                         ClipSays("c/A0002R.MP4").At(0).For(17).Written(second)});
  };
  EXPECT_EQ(four(77), "likely: A0001F.MP4 A0002F.MP4\nlikely: A0001R.MP4 A0002R.MP4");
  EXPECT_EQ(four(500), "possible: A0001F.MP4 A0002F.MP4\npossible: A0001R.MP4 A0002R.MP4");
}

// Somebody may have thought of the numbers when a clip was lost already.
TEST(Clock, OfTheRecordingNeedsNumbersOfACamera) {
  const auto recording = [](const std::string& a, const std::string& b, double second) {
    return ProposedFrom({ClipSays("c/" + a).At(0).For(60).Written(60),
                         ClipSays("c/" + b).At(0).For(17).Written(second),
                         ClipSays("c/xyz.MP4").At(900).For(5).Written(9000)});
  };
  EXPECT_EQ(recording("0001.MP4", "0002.MP4", 60), "likely: 0001.MP4 0002.MP4");
  EXPECT_EQ(recording("001.MP4", "002.MP4", 60), "possible: 001.MP4 002.MP4");
  EXPECT_EQ(recording("day 1.MP4", "day 2.MP4", 60), "possible: day 1.MP4 day 2.MP4");
  EXPECT_EQ(recording("001.MP4", "002.MP4", 60 + 17), "likely: 001.MP4 002.MP4");
  EXPECT_EQ(recording("001.MP4", "003.MP4", 60), "");
}

// A camera numbers a recording through.
TEST(Clock, OfRecordingsWhoseNumbersAreMixedGivesNoOrder) {
  const auto four = [](const char* last, const char* other) {
    return ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60),
                         ClipSays("c/A0002.MP4").At(0).For(60), ClipSays(last).At(0).For(17),
                         ClipSays(other).At(900).For(60)});
  };
  EXPECT_EQ(four("c/A0003.MP4", "c/A0004.MP4"), "likely: A0001.MP4 A0002.MP4 A0003.MP4");
  EXPECT_EQ(four("c/A0004.MP4", "c/A0003.MP4"), "");
  // Numbers begin anew.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A9998.MP4").At(0).For(60), ClipSays("c/A9999.MP4").At(0).For(60),
                    ClipSays("c/A0001.MP4").At(0).For(17), ClipSays("c/A0002.MP4").At(900).For(60),
                    ClipSays("c/A0003.MP4").At(900).For(7)}),
      "likely: A9998.MP4 A9999.MP4 A0001.MP4\nlikely: A0002.MP4 A0003.MP4");
}

// Two cameras in step, whose clips somebody put in one row: what runs on may be of either.
TEST(Clock, OfTwoCamerasInOneSeriesIsSilentWhereBothGoOn) {
  EXPECT_EQ(ProposedFrom(
                {ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(1).For(60),
                 ClipSays("c/A0003.MP4").At(60).For(20), ClipSays("c/A0004.MP4").At(61).For(30)}),
            "");
  // Where only one of them does its numbers tell nothing, and are not needed.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(30).For(20),
                    ClipSays("c/A0003.MP4").At(60).For(20), ClipSays("c/A0004.MP4").At(900).For(60),
                    ClipSays("c/A0005.MP4").At(960).For(20)}),
      "likely: A0004.MP4 A0005.MP4");
}

TEST(Clock, OfTwoSidesThatDifferByLessThanAPictureIsSilent) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(473),
                          ClipSays("c/A0002.MP4").At(0).For(473.01)}),
            "possible: A0001.MP4 A0002.MP4");
}

// The last one of the other side is gone, or on another card.
TEST(Clock, OfTwoSidesIsSilentWhereAnotherRecordingShowsBoth) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(473), ClipSays("c/A0002.MP4").At(0).For(473),
                    ClipSays("c/A0003.MP4").At(0).For(20), ClipSays("c/A0005.MP4").At(5000).For(30),
                    ClipSays("c/A0006.MP4").At(5000).For(30)}),
      "possible: A0001.MP4 A0002.MP4 A0003.MP4");
}

// First chapters have names of their own: two of them at one time are of two recordings.
TEST(Clock, ThatStandsStillBesideFirstChaptersIsSilent) {
  const ClipSays first = ClipSays("c/CLIP0034.MP4").At(0).For(60);
  const ClipSays other = ClipSays("c/CLIP0035.MP4").At(0).For(20);
  EXPECT_EQ(ProposedFrom({first, ClipSays("c/CL010034.MP4").At(0).For(60),
                          ClipSays("c/CL020034.MP4").At(0).For(17), other}),
            "incomplete possible: CL010034.MP4 CL020034.MP4");
  // In another folder they are of another camera.
  EXPECT_EQ(ProposedFrom({first, ClipSays("d/CL010034.MP4").At(9000).For(20), other}),
            "likely: CLIP0034.MP4 CLIP0035.MP4");
}

TEST(Clock, OfTwoCustomsThatExplainAsMuchIsSilent) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60), ClipSays("c/xb.MP4").At(60).For(20),
                    ClipSays("c/ya.MP4").At(1000).For(60), ClipSays("c/yb.MP4").At(1030).For(30)}),
      "");
}

TEST(Clock, FindsTheFirstChapterWhateverItsName) {
  EXPECT_EQ(
      ProposedFrom(
          {ClipSays("c/CLIP0034.MP4").At(0).For(60), ClipSays("c/CL010034.MP4").At(60).For(60),
           ClipSays("c/CL020034.MP4").At(120).For(17), ClipSays("c/CLIP0035.MP4").At(400).For(17)}),
      "likely: CLIP0034.MP4 CL010034.MP4 CL020034.MP4");
}

TEST(Clock, ThatStandsStillIsSilentForAllNames) {
  // The chapters of one recording say no more than those of another one that has the same time.
  EXPECT_EQ(ProposedFrom({ClipSays("c/100AAAAA/CLIP0034.MP4").At(0).For(60),
                          ClipSays("c/100AAAAA/CL010034.MP4").At(0).For(60),
                          ClipSays("c/100AAAAA/CL020034.MP4").At(0).For(17),
                          ClipSays("c/101AAAAA/CLIP0035.MP4").At(0).For(60),
                          ClipSays("c/101AAAAA/CL010035.MP4").At(0).For(12)}),
            "incomplete possible: CL010034.MP4 CL020034.MP4");
}

TEST(Clock, ThatIsFarOffByEveryCustomDisagrees) {
  // No clip is continued, so that nobody knows which moment the times are of. It does not matter.
  const auto two = [](std::int64_t gap) {
    return ProposedFrom(
        {ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(60 + gap).For(60)});
  };
  EXPECT_EQ(two(2), "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two(3), "");
  EXPECT_EQ(two(100'000), "");
}

TEST(Clock, ThatMayStandStillLeavesTheNumbers) {
  // Nothing shows where a recording ends: all clips of the card have one time, and all are full.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(0).For(60),
                    ClipSays("c/A0003.MP4").At(0).For(60)}),
      "possible: A0001.MP4 A0002.MP4 A0003.MP4");
  // A clock that was seen to move is that of the recording.
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(0).For(60),
                    ClipSays("c/A0003.MP4").At(0).For(60), ClipSays("c/A0004.MP4").At(900).For(7)}),
      "likely: A0001.MP4 A0002.MP4 A0003.MP4");
}

TEST(MediaClock, RunsOnWithinASampleAndTwoSeconds) {
  // A sample a second: the last one is of the second behind its stamp.
  const auto two = [](double first) {
    return ProposedFrom({ClipSays("c/A0001.MP4").For(60).Stamped(1000, 1059),
                         ClipSays("c/A0002.MP4").For(20).Stamped(first, first + 19)});
  };
  EXPECT_EQ(two(1060), "possible: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two(1062), "possible: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two(1062.1), "");
  EXPECT_EQ(two(1057), "possible: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two(1056.9), "");
}
