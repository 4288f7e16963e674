#include "workflow/evidence/timecode_traits.h"

#include <gtest/gtest.h>

#include "workflow/evidence/said_clips.h"

using clipchain::ClipSays;
using clipchain::kSecond;
using clipchain::Pictures;
using clipchain::ProposedFrom;
using clipchain::TimecodeCount;
using clipchain::TimecodeFromCount;
using clipchain::TimecodeFromFrames;

namespace {

constexpr TimecodeCount kPlain{false, 30, 30};
constexpr TimecodeCount kDrop{true, 30, 30000.0 / 1001};

Pictures PicturesOf(std::uint64_t count, double framesPerSecond) {
  return {count, static_cast<clipchain::Nanoseconds>(static_cast<double>(count) * kSecond /
                                                     framesPerSecond)};
}

// Hours, minutes, seconds and frames as four bytes.
constexpr std::uint32_t Fields(std::uint32_t h, std::uint32_t m, std::uint32_t s, std::uint32_t f) {
  return h << 24 | m << 16 | s << 8 | f;
}

// Clips without a clock, of which the first stops at a limit.
std::string Following(std::int64_t first, std::int64_t offset) {
  return ProposedFrom(
      {ClipSays("c/xa.MP4").For(60).Timecode(first, 1800),
       ClipSays("c/xb.MP4").For(20).Timecode((first + 1800 + offset) % ClipSays::kDay, 600),
       ClipSays("c/xz.MP4").For(60).Timecode(77777, 1800)});
}

}  // namespace

TEST(Timecode, FollowsFrameForFrame) {
  EXPECT_EQ(Following(1000, 0), "certain: xa.MP4 xb.MP4");
  EXPECT_EQ(Following(1000, 1), "");
  EXPECT_EQ(Following(1000, -1), "");
}

TEST(Timecode, BeginsAnewAtMidnight) {
  EXPECT_EQ(Following(ClipSays::kDay - 900, 0), "certain: xa.MP4 xb.MP4");
  EXPECT_EQ(Following(ClipSays::kDay - 1800, 0), "certain: xa.MP4 xb.MP4");
  EXPECT_EQ(Following(ClipSays::kDay - 900, 1), "");
}

TEST(Timecode, ThatBeginsAlikeInAllClipsIsSilent) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60).Timecode(0, 1800),
                          ClipSays("c/A0002.MP4").At(60).For(20).Timecode(0, 600)}),
            "likely: A0001.MP4 A0002.MP4");
}

// What looks to two sides, once its clips are named anew one after the other.
TEST(Timecode, ThatRunsOnIntoTwoClipsSideBySideProvesNothing) {
  const auto sides = [](std::int64_t length) {
    return ProposedFrom(
        {ClipSays("c/0013.MP4").For(60).Timecode(1000, 1800),
         ClipSays("c/0014.MP4").For(60).Timecode(1000, 1800),
         ClipSays("c/0015.MP4").For(20).Timecode(2800, 600),
         ClipSays("c/0016.MP4").For(static_cast<double>(length)).Timecode(2800, length * 30)});
  };
  EXPECT_EQ(sides(20), "");
  EXPECT_EQ(sides(7), "");
}

TEST(Timecode, ThatBeginsAlikeInRecordingsOfOneLengthProvesNothingAlone) {
  // The second clip of the first recording is the last one; of the second recording it was lost.
  const std::vector<ClipSays> clips{ClipSays("c/xa.MP4").For(60).Timecode(0, 1800),
                                    ClipSays("c/xb.MP4").For(60).Timecode(1800, 1800),
                                    ClipSays("c/ya.MP4").For(60).Timecode(0, 1800),
                                    ClipSays("c/yc.MP4").For(20).Timecode(3600, 600)};
  EXPECT_EQ(ProposedFrom(clips), "");
  // Numbers tell which one it is.
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").For(60).Timecode(0, 1800),
                          ClipSays("c/A0002.MP4").For(20).Timecode(1800, 600),
                          ClipSays("c/A0003.MP4").For(60).Timecode(0, 1800),
                          ClipSays("c/A0004.MP4").For(20).Timecode(1800, 600)}),
            "certain: A0001.MP4 A0002.MP4\ncertain: A0003.MP4 A0004.MP4");
}

TEST(Timecode, ShowsNumbersThatSomebodyGave) {
  // By name: the first chapters of all recordings, then the second ones.
  const auto clip = [](const char* name, double seconds, std::int64_t first) {
    return ClipSays(name).For(seconds).Timecode(first, static_cast<std::int64_t>(seconds * 30));
  };
  EXPECT_EQ(ProposedFrom({clip("c/001.MP4", 60, 0), clip("c/002.MP4", 60, 0),
                          clip("c/003.MP4", 20, 1800), clip("c/004.MP4", 31, 1800)}),
            "");
  // A camera counts chapters so.
  EXPECT_EQ(ProposedFrom({clip("c/V0001_01.MP4", 60, 0), clip("c/V0001_02.MP4", 20, 1800),
                          clip("c/V0002_01.MP4", 60, 0), clip("c/V0002_02.MP4", 31, 1800)}),
            "possible: V0001_01.MP4 V0001_02.MP4\npossible: V0002_01.MP4 V0002_02.MP4");
}

TEST(Timecode, OfAHoleLeavesOutAsManyFramesAsAFullClipHas) {
  const auto hole = [](std::int64_t first) {
    return ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60).Timecode(1000, 1800),
                         ClipSays("c/A0002.MP4").At(60).For(60).Timecode(2800, 1800),
                         ClipSays("c/A0004.MP4").At(180).For(20).Timecode(first, 600)});
  };
  EXPECT_EQ(hole(6400), "incomplete likely: A0001.MP4 A0002.MP4 A0004.MP4");
  EXPECT_EQ(hole(6402), "incomplete likely: A0001.MP4 A0002.MP4 A0004.MP4");
  EXPECT_EQ(hole(6403), "certain: A0001.MP4 A0002.MP4");
}

TEST(Timecode, ShowsThatClipsOfOneSizeAreFollowed) {
  const auto clip = [](const char* name, long long bytes, std::int64_t first, std::int64_t frames) {
    return ClipSays(name)
        .For(static_cast<double>(frames) / 30)
        .Timecode(first, frames)
        .Bytes(bytes);
  };
  EXPECT_EQ(ProposedFrom({clip("c/xa.MP4", 5'999'900'000, 1000, 20000),
                          clip("c/xb.MP4", 5'999'950'000, 21000, 20100),
                          clip("c/xc.MP4", 700'000'000, 41100, 2400),
                          clip("c/ya.MP4", 5'999'990'000, 500'000, 20050),
                          clip("c/yb.MP4", 100'000'000, 520'050, 400)}),
            "certain: xa.MP4 xb.MP4 xc.MP4\ncertain: ya.MP4 yb.MP4");
}

TEST(Timecode, ThatCountsWhatWasRecordedProvesNothingAlone) {
  // It runs on over a night, too.
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60).Timecode(0, 1800),
                          ClipSays("c/xb.MP4").At(60).For(20).Timecode(1800, 600),
                          ClipSays("c/xc.MP4").At(50000).For(60).Timecode(2400, 1800),
                          ClipSays("c/xd.MP4").For(20).Timecode(4200, 600)}),
            "certain: xa.MP4 xb.MP4");
}

// Without a clock nothing but a number that was left out, or the time at which a file was written,
// shows that the count goes on over two recordings.
TEST(Timecode, ThatRunsOnOverAPauseProvesNothing) {
  const auto two = [](const char* second, double written) {
    return ProposedFrom({ClipSays("c/A0001.MP4").For(60).Timecode(500, 1800).Written(60),
                         ClipSays(second).For(20).Timecode(2300, 600).Written(written)});
  };
  EXPECT_EQ(two("c/A0002.MP4", 80), "certain: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two("c/A0002.MP4", 61), "certain: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two("c/A0002.MP4", 300), "possible: A0001.MP4 A0002.MP4");
  EXPECT_EQ(two("c/A0004.MP4", 80), "");
  EXPECT_EQ(two("c/xyz.MP4", 80), "certain: A0001.MP4 xyz.MP4");
}

// A clip whose name begins a recording continues none, though a count runs on to it.
TEST(Timecode, DoesNotRunOnIntoAnotherRecordingByItsName) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/CLIP0034.MP4").For(60).Timecode(500, 1800),
                          ClipSays("c/CL010034.MP4").For(60).Timecode(2300, 1800),
                          ClipSays("c/CLIP0035.MP4").For(20).Timecode(4100, 600)}),
            "incomplete certain: CLIP0034.MP4 CL010034.MP4");
}

TEST(Timecode, OfADayHasAsManyFramesAsItsCountSays) {
  EXPECT_EQ(kDrop.Day(), 2'589'408);
  EXPECT_EQ(kPlain.Day(), 2'592'000);
  EXPECT_EQ((TimecodeCount{true, 60, 60000.0 / 1001}.Day()), 5'178'816);
  EXPECT_EQ((TimecodeCount{false, 25, 25}.Day()), 2'160'000);
}

TEST(Timecode, EndsThePicturesBehindItsFirstCount) {
  const auto code = TimecodeFromCount(kDrop, 2'589'407, PicturesOf(10, 30000.0 / 1001));
  ASSERT_TRUE(code);
  EXPECT_EQ(code->first, 2'589'407);
  EXPECT_EQ(code->earliestEnd, 9);
  EXPECT_EQ(code->latestEnd, 9);
}

TEST(Timecode, CountsTwoPicturesAFrameWhereThePicturesAreTwiceAsMany) {
  const auto even = TimecodeFromCount(kPlain, 100, PicturesOf(120, 60));
  ASSERT_TRUE(even);
  EXPECT_EQ(even->earliestEnd, 160);
  EXPECT_EQ(even->latestEnd, 160);
  const auto odd = TimecodeFromCount(kPlain, 100, PicturesOf(121, 60));
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->earliestEnd, 160);
  EXPECT_EQ(odd->latestEnd, 161);
  EXPECT_FALSE(TimecodeFromCount(kPlain, 100, PicturesOf(100, 42)));
  EXPECT_FALSE(TimecodeFromCount(kPlain, 100, {}));
  EXPECT_FALSE(TimecodeFromCount({false, 0, 30}, 100, PicturesOf(100, 30)));
}

TEST(Timecode, OfASampleAPictureIsReadInEitherForm) {
  const auto fields =
      TimecodeFromFrames(kPlain, Fields(1, 0, 0, 28), Fields(1, 0, 1, 0), PicturesOf(3, 30));
  ASSERT_TRUE(fields);
  EXPECT_EQ(fields->first, 108'028);
  EXPECT_EQ(fields->earliestEnd, 108'031);
  const auto number = TimecodeFromFrames(kPlain, 108'028, 108'030, PicturesOf(3, 30));
  ASSERT_TRUE(number);
  EXPECT_EQ(number->first, 108'028);
  // Numbers 0 and 1 of minute 1 are left out.
  const auto drop = TimecodeFromFrames(kDrop, Fields(0, 0, 59, 29), Fields(0, 1, 0, 2),
                                       PicturesOf(2, 30000.0 / 1001));
  ASSERT_TRUE(drop);
  EXPECT_EQ(drop->first, 1799);
  EXPECT_EQ(drop->earliestEnd, 1801);
  EXPECT_FALSE(
      TimecodeFromFrames(kPlain, Fields(1, 0, 0, 0), Fields(2, 0, 0, 0), PicturesOf(3, 30)));
}
