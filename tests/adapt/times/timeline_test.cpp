#include "adapt/times/timeline.h"

#include <gtest/gtest.h>

#include "adapt/track_sources.h"
#include "foundation/fourcc.h"
#include "support/bytes.h"

namespace clipchain {
namespace {

using Kind = ShownStretch::Kind;

constexpr Edit kEmptyHalfSecond{500, -1};

TrackTimes Times(const TrackSource& source) {
  const auto times = TimesOf(source);
  EXPECT_TRUE(times.has_value());
  return times.value_or(TrackTimes());
}

TrackTimes Edited(TrackSource source, Edits edits) {
  source.edits = std::move(edits);
  return Times(source);
}

TEST(Moments, CountEveryUsualScaleWithoutARest) {
  for (const std::uint32_t scale :
       {1u, 24u, 25u, 600u, 1000u, 8000u, 11025u, 12800u, 15360u, 24000u, 30000u, 44100u, 48000u,
        60000u, 90000u, 192000u, 23040000u})
    EXPECT_EQ(kUnitsASecond % scale, 0) << scale;
}

TEST(Moments, AreRoundedDownInTicksAlsoBelowZero) {
  EXPECT_EQ(TicksOf(MomentOf(1999, 1000), 1), 1);
  EXPECT_EQ(TicksOf(MomentOf(-1, 1000), 25), -1);
  EXPECT_EQ(TicksToHold(MomentOf(1001, 1000), 1), 2);
  EXPECT_EQ(TicksToHold(MomentOf(2, 1), 48000), 96000);
  EXPECT_DOUBLE_EQ(Milliseconds(MomentOf(-512, 48000)), -512.0 / 48);
}

TEST(Moments, HoldTheLongestTimeThereIs) {
  const Moment most = MomentOf(~std::uint64_t{0}, 1);
  EXPECT_EQ(TicksOf(most, 0xFFFFFFFF), Moment{~std::uint64_t{0}} * 0xFFFFFFFF);
}

TEST(TrackTimes, FindWhatIsShownFirstAndLastByTheCompositionOffsets) {
  const TrackTimes times = Times(PictureWithLaterOnes());
  EXPECT_EQ(times.samples, 4u);
  EXPECT_EQ(times.ticks, 2048);
  EXPECT_EQ(times.firstShown, 1024);
  EXPECT_EQ(times.lastShown, 2560);
  EXPECT_EQ(times.endShown, 3072);
  EXPECT_EQ(times.frame, 512u);
  EXPECT_EQ(times.hidden, HiddenSamples{});
}

TEST(TrackTimes, OffsetsMayLieBelowZeroAndEndEarly) {
  TrackSource source = Picture(3);
  source.offsets = {{1, 0}, {1, -1024}};
  const TrackTimes times = Times(source);
  EXPECT_EQ(times.firstShown, -512);
  EXPECT_EQ(times.lastShown, 1024);
  // The same as a table without signs says it.
  source.offsets.back().offset = 0xFFFFFC00;
  EXPECT_EQ(Times(source).firstShown, -512);
}

TEST(TrackTimes, KnowHowLongTheLastSampleLastsAndMostDo) {
  TrackSource source = Sound(3);
  source.times.push_back({1, 704});
  const TrackTimes times = Times(source);
  EXPECT_EQ(times.frame, 1024u);
  EXPECT_EQ(times.last, 704u);
  EXPECT_EQ(times.ticks, 3776);
}

TEST(TrackTimes, AreNoneWhereAScaleIsMissingOrTheTimesAreBeyondAllMeasure) {
  TrackSource source = Picture(3);
  source.scale = 0;
  EXPECT_FALSE(TimesOf(source));
  source = Picture(3);
  source.movieScale = 0;
  EXPECT_FALSE(TimesOf(source));
  source = Picture(3);
  source.times = {{0xFFFFFFFF, 0xFFFFFFFF}};
  EXPECT_FALSE(TimesOf(source));
}

TEST(TrackTimes, OfATrackWithoutSamplesAreZero) {
  const TrackTimes times = Edited(Picture(0), {{2000, 0}});
  EXPECT_EQ(times.samples, 0u);
  EXPECT_EQ(times.endShown, 0);
  EXPECT_EQ(times.hidden, HiddenSamples{});
}

TEST(TrackTimes, SayWhereTheirZeroIsShown) {
  EXPECT_EQ(Times(Sound(10)).Zero(), 0);
  EXPECT_EQ(Edited(Sound(10), {{200, 1024}}).Zero(), -MomentOf(1024, 48000));
  EXPECT_EQ(Edited(Sound(10), {kEmptyHalfSecond, {200, 1024}}).Zero(),
            MomentOf(1, 2) - MomentOf(1024, 48000));
}

TEST(ShownStretch, DelaysAndShowsTheMediaToItsEnd) {
  const ShownStretch shown = Edited(Sound(94), {{200, -1}, kEmptyHalfSecond, {2006, 0}}).shown;
  EXPECT_EQ(shown, (ShownStretch{Kind::kPlain, 700, 0, 2006}));
}

TEST(ShownStretch, JoinsPartsThatFollowEachOther) {
  EXPECT_EQ(Edited(Picture(50), {{1000, 0}, {1000, 12800}, {500, -1}}).shown,
            (ShownStretch{Kind::kPlain, 0, 0, 2000}));
  EXPECT_EQ(Edited(Picture(50), {{500, 0}, {1000, 12800}}).shown.kind, Kind::kParts);
  EXPECT_EQ(Edited(Picture(50), {{1000, 0}, kEmptyHalfSecond, {1000, 12800}}).shown.kind,
            Kind::kParts);
}

TEST(ShownStretch, IsNotPlainWhereTheListDoesSomethingElse) {
  EXPECT_EQ(Edited(Picture(50), {}).shown.kind, Kind::kNoList);
  EXPECT_EQ(Edited(Picture(50), {kEmptyHalfSecond}).shown.kind, Kind::kNothing);
  EXPECT_EQ(Edited(Picture(50), {{2000, -2}}).shown.kind, Kind::kNothing);
  EXPECT_EQ(Edited(Picture(50), {{2000, 0, 0}}).shown.kind, Kind::kDwell);
  EXPECT_EQ(Edited(Picture(50), {{2000, 0, 0x8000}}).shown.kind, Kind::kOtherRate);
  EXPECT_FALSE(Edited(Picture(50), {{2000, 0, 0x8000}}).shown.IsPlain());
}

TEST(ShownStretch, TakesNoSumsBeyondItsNumbers) {
  const Edit longest{~std::uint64_t{0}, -1};
  EXPECT_EQ(Edited(Picture(50), {longest, longest, {2000, 0}}).shown.kind, Kind::kParts);
}

TEST(HiddenSamples, AreThoseThatLieOutsideAsAWhole) {
  // 1.48 s are 37 pictures at 25 a second.
  TrackTimes times = Edited(Picture(90), {{1520, 18944}});
  EXPECT_EQ(times.hidden, (HiddenSamples{37, 15, 18944, 7680}));
  EXPECT_EQ(times.ShownTo(), 38400);
  times = Edited(Picture(90), {{0, 18944}});
  EXPECT_EQ(times.hidden, (HiddenSamples{37, 0, 18944, 0}));
  EXPECT_EQ(times.ShownTo(), 46080);
}

TEST(HiddenSamples, DoNotCountWhatIsShownInPart) {
  EXPECT_EQ(Edited(Picture(50), {{1970, 511}}).hidden, (HiddenSamples{0, 0, 511, 0}));
  EXPECT_EQ(Edited(Picture(50), {{1970, 512}}).hidden.before, 1u);
}

TEST(HiddenSamples, AllowForTheMoviesRoundedTicks) {
  TrackSource source = Picture(50);
  source.movieScale = 600;
  source.times = {{50, 427}};  // 21,350 ticks are 1,000.78 of the movie's
  EXPECT_EQ(Edited(source, {{1000, 0}}).hidden, HiddenSamples{});
  EXPECT_EQ(Edited(source, {{1000, 0}}).ShownTo(), 21350);
  // The same where a whole picture is missing.
  EXPECT_EQ(Edited(source, {{980, 0}}).hidden.behind, 1u);
}

TEST(HiddenSamples, AreCountedInTheOrderOfTheirShowing) {
  const TrackTimes times = Edited(PictureWithLaterOnes(), {{80, 1024}});
  EXPECT_EQ(times.hidden, (HiddenSamples{0, 2, 0, 1024}));
}

TEST(HiddenSamples, OfNoLengthAtTheEndAreNotHidden) {
  TrackSource source = Picture(50);
  source.times.push_back({1, 0});
  EXPECT_EQ(Edited(source, {{2000, 0}}).hidden, HiddenSamples{});
  EXPECT_EQ(Edited(source, {{1960, 0}}).hidden.behind, 2u);
}

TEST(FirstShown, IsToldOfEachPart) {
  TrackSource source = Picture(0);
  source.times = {{4, 100}, {2, 50}};
  // The second one lies below 0 in a table that has no such numbers.
  source.offsets = {{1, 200}, {1, 0xFFFFFFFF - 49}};
  const std::vector<Moment> firsts = FirstShown(source, {2, 0, 3, 1, 0});
  const std::vector<Moment> expected = {50, 200, 200, 450, 500};
  EXPECT_TRUE(firsts == expected);
}

TEST(TrackSource, ComesFromTheBoxesOfATrack) {
  using support::Box;
  using support::FullBox;
  using support::U32;
  const Bytes bytes =
      Box("trak",
          {FullBox("tkhd", 0, 7, {U32(0), U32(0), U32(3), U32(0), U32(2000), support::Zeros(60)}),
           Box("edts", {FullBox("elst", 0, 0, {U32(1), U32(2000), U32(1024), U32(0x10000)})}),
           Box("mdia",
               {FullBox("mdhd", 0, 0, {U32(0), U32(0), U32(48000), U32(4096), U32(0)}),
                FullBox("hdlr", 0, 0, {U32(0), support::Text("soun"), support::Zeros(12)}),
                Box("minf",
                    {Box("stbl", {FullBox("stts", 0, 0, {U32(1), U32(4), U32(1024)}),
                                  FullBox("ctts", 1, 0, {U32(1), U32(4), U32(0xFFFFFFFF)})})})})});
  std::span<const unsigned char> in = bytes;
  RawBox trak;
  ASSERT_TRUE(trak.Take(in));
  const auto source = SourceOf(trak, 1000);
  ASSERT_TRUE(source);
  EXPECT_EQ(source->id, 3u);
  EXPECT_EQ(source->kind, MediaKind::kSound);
  EXPECT_EQ(source->scale, 48000u);
  EXPECT_EQ(source->times, (TimeRuns{{4, 1024}}));
  EXPECT_EQ(source->offsets, (OffsetRuns{{4, -1}}));
  EXPECT_EQ(source->edits, (Edits{{2000, 1024}}));
  trak.At({FourCc("mdia"), FourCc("minf"), FourCc("stbl"), FourCc("stts")})->data.pop_back();
  EXPECT_FALSE(SourceOf(trak, 1000));
}

}  // namespace
}  // namespace clipchain
