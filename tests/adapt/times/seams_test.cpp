#include "adapt/times/seams.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "adapt/boxes/track_headers.h"
#include "adapt/track_sources.h"
#include "foundation/fourcc.h"
#include "support/bytes.h"

namespace clipchain {
namespace {

using Holds = std::vector<std::uint32_t>;

TrackTimes Times(const TrackSource& source) {
  const auto times = TimesOf(source);
  EXPECT_TRUE(times.has_value());
  return times.value_or(TrackTimes());
}

// So many samples at 48 kHz in frames of 1,024, of which 1,024 come before the first sound.
TrackSource Primed(std::uint32_t samples) {
  TrackSource source = Sound((samples + 1024) / 1024);
  const std::uint32_t rest = (samples + 1024) % 1024;
  if (rest != 0) source.times.push_back({1, rest});
  source.edits = {{samples / 48, 1024}};
  return source;
}

ClipTimes Clip(const TrackSource& picture, const TrackSource& sound) {
  return {Times(picture), Times(sound)};
}

// The largest difference between tracks at any seam.
Moment Apart(const std::vector<ClipTimes>& clips, const SampleHolds& holds) {
  Moment worst = 0;
  for (const auto& shifts : ShiftsOf({clips, holds})) {
    std::vector<Moment> there;
    for (const auto& shift : shifts) {
      if (shift) there.push_back(*shift);
    }
    if (there.empty()) continue;
    const auto [least, most] = std::minmax_element(there.begin(), there.end());
    worst = std::max(worst, *most - *least);
  }
  return worst;
}

Moment SoundTicks(std::int64_t ticks) { return MomentOf(ticks, 48000); }

// How long samples are held where tracks wait for each other.
SampleHolds PlanSeams(const std::vector<ClipTimes>& clips) {
  return PlannedClocks(clips, true).holds;
}

// What a plan promises whatever the clips: within the tolerance, and the last clip as it is.
SampleHolds Planned(const std::vector<ClipTimes>& clips) {
  SampleHolds holds = PlanSeams(clips);
  EXPECT_LE(Apart(clips, holds), SeamTolerance(clips.front()));
  EXPECT_EQ(holds.back(), Holds(clips.front().size(), 0));
  return holds;
}

TEST(SeamTolerance, IsHalfAFrameOfSound) {
  EXPECT_EQ(SeamTolerance(Clip(Picture(50), Sound(94))), SoundTicks(512));
  TrackSource slower = Sound(40);
  slower.scale = 44100;
  EXPECT_EQ(SeamTolerance(Clip(Picture(50), slower)), MomentOf(512, 44100));
}

TEST(SeamTolerance, IsThatOfTheUsualFrameWhereThereAreNoneOrLongOnes) {
  TrackSource samples = Sound(0);
  samples.times = {{96000, 1}};
  EXPECT_EQ(SeamTolerance(Clip(Picture(50), samples)), SoundTicks(512));
  EXPECT_EQ(SeamTolerance({Times(Picture(50))}), SoundTicks(512));
  TrackSource blocks = Sound(0);
  blocks.times = {{20, 4800}};
  EXPECT_EQ(SeamTolerance(Clip(Picture(50), blocks)), SoundTicks(1024));
}

TEST(Seams, ThatNeedNothingAreNotTouched) {
  const std::vector<ClipTimes> clips(60, Clip(Picture(48), Sound(90)));
  EXPECT_EQ(Planned(clips), NoHolds(clips));
}

TEST(Seams, ThePictureWaitsForALongerSound) {
  // 2.02 s of sound behind 1,024 samples that every decoder needs to begin: 41.33 ms too long.
  const std::vector<ClipTimes> clips(60, Clip(Picture(50), Primed(96960)));
  const SampleHolds holds = Planned(clips);
  EXPECT_EQ(holds.front(), (Holds{529, 0}));
  // Rounded down each time, and never added up.
  for (std::size_t i = 0; i + 1 < clips.size(); ++i) {
    EXPECT_GE(holds[i][0], 529u);
    EXPECT_LE(holds[i][0], 530u);
  }
}

TEST(Seams, AShorterSoundWaitsForThePictureOnceItIsTooFarAhead) {
  // 8.67 ms too short.
  const std::vector<ClipTimes> clips(5, Clip(Picture(50), Primed(94560)));
  const SampleHolds holds = Planned(clips);
  EXPECT_EQ(holds[0], (Holds{0, 0}));
  EXPECT_EQ(holds[1], (Holds{0, 832}));
  EXPECT_EQ(holds[2], (Holds{0, 0}));
  EXPECT_EQ(holds[3], (Holds{0, 832}));
}

TEST(Seams, StayTogetherAtTheRatesOfBroadcast) {
  for (const auto& [scale, delta, pictures] :
       {std::tuple{24000u, 1001u, 48u}, {60000u, 1001u, 120u}, {30000u, 1001u, 60u}}) {
    TrackSource picture = Picture(0);
    picture.scale = scale;
    picture.times = {{pictures, delta}};
    for (const std::uint32_t sound : {94560u, 96000u, 96096u, 96960u, 192000u}) {
      SCOPED_TRACE(testing::Message() << scale << ' ' << sound);
      Planned(std::vector<ClipTimes>(200, Clip(picture, Primed(sound))));
    }
  }
}

TEST(Seams, ASoundThatStartsLateStartsLateInEveryClip) {
  TrackSource late = Sound(80);
  late.edits = {{300, -1}, {1707, 0}};
  const std::vector<ClipTimes> clips(3, Clip(Picture(50), late));
  const SampleHolds holds = Planned(clips);
  // Of 2 s there are 80 frames, 1.7067 s.
  EXPECT_EQ(holds[0], (Holds{0, 96000 - 80 * 1024}));
}

TEST(Seams, ALateStartOfOneClipIsKept) {
  TrackSource late = Sound(80);
  late.edits = {{300, -1}, {1707, 0}};
  const std::vector<ClipTimes> clips{Clip(Picture(48), Sound(90)), Clip(Picture(48), late),
                                     Clip(Picture(48), Sound(90))};
  const SampleHolds holds = Planned(clips);
  EXPECT_EQ(holds[0], (Holds{0, 14400}));
  EXPECT_EQ(ShiftsOf({clips, holds})[1][1], MomentOf(48, 25));
}

TEST(Seams, ClipsWithAndWithoutEditListsMeet) {
  TrackSource bare = Primed(96000);
  bare.edits.clear();
  TrackSource delayed = PictureWithLaterOnes();
  delayed.edits = {{160, 1024}};
  const std::vector<ClipTimes> clips{Clip(Picture(50), bare), Clip(Picture(50), Primed(96000)),
                                     Clip(delayed, Primed(7680))};
  Planned(clips);
}

TEST(Seams, ARecordingThatCatchesUpIsLeftAlone) {
  TrackSource more = Sound(90);
  more.times.push_back({1, 768});  // 16 ms more than the picture
  TrackSource less = Sound(89);
  less.times.push_back({1, 256});  // 16 ms less
  std::vector<ClipTimes> clips{Clip(Picture(48), more), Clip(Picture(48), less),
                               Clip(Picture(48), Sound(90))};
  EXPECT_EQ(PlanSeams(clips), NoHolds(clips));
  EXPECT_EQ(Apart(clips, NoHolds(clips)), SoundTicks(768));
  // The same at the last seam, where the clip behind it ends in step.
  clips.pop_back();
  EXPECT_EQ(PlanSeams(clips), NoHolds(clips));
  // A clip that does not come back.
  clips[1] = Clip(Picture(48), Sound(90));
  EXPECT_EQ(Planned(clips)[0], (Holds{204, 0}));
}

TEST(Seams, NoRecordingIsLeftAloneByMoreThanAFrame) {
  TrackSource more = Sound(91);
  more.times.push_back({1, 1});
  TrackSource less = Sound(88);
  less.times.push_back({1, 1023});
  const std::vector<ClipTimes> clips{Clip(Picture(48), more), Clip(Picture(48), less)};
  EXPECT_EQ(Planned(clips)[0], (Holds{273, 0}));
}

TEST(Seams, ADataTrackKeepsStepToo) {
  TrackSource data = Picture(2);
  data.kind = MediaKind::kOther;
  data.times = {{2, 12000}};
  std::vector<ClipTimes> clips(3, {Times(Picture(50)), Times(data)});
  EXPECT_EQ(Planned(clips)[0], (Holds{0, 1600}));
}

TEST(Seams, NobodyWaitsForADataTrackThatIsFarAhead) {
  TrackSource data = Picture(2);
  data.kind = MediaKind::kOther;
  data.times = {{2, 13350}};
  std::vector<ClipTimes> clips(3, {Times(Picture(50)), Times(data), Times(Primed(96000 - 1024))});
  EXPECT_EQ(PlanSeams(clips), NoHolds(clips));
  EXPECT_EQ(Apart(clips, NoHolds(clips)), 2 * MomentOf(1100, 12800));
  // It waits once the others are ahead of it.
  clips[1][1] = Times(Picture(1));
  clips[1][1].kind = MediaKind::kOther;
  EXPECT_EQ(PlanSeams(clips)[1], (Holds{0, 25600 - 512 - 1100, 0}));
  // Among themselves tracks of data wait for each other.
  clips.assign(2, {Times(data), Times(data)});
  clips[0][1].ticks -= 1000;
  EXPECT_EQ(PlanSeams(clips)[0], (Holds{0, 1000}));
}

// What a track of data has too much of in every clip would add up.
TEST(Seams, ADataTrackThatIsALittleAheadIsWaitedFor) {
  TrackSource data = Picture(2);
  data.kind = MediaKind::kOther;
  data.times = {{2, 13312}};
  const std::vector<ClipTimes> clips(100, {Times(Picture(50)), Times(data), Times(Sound(94))});
  EXPECT_EQ(Planned(clips)[0], (Holds{1024, 0, 3584}));
}

TEST(Seams, ATrackThatIsEmptyInAClipWaitsForTheNext) {
  const std::vector<ClipTimes> clips{Clip(Picture(48), Sound(90)), Clip(Picture(48), Sound(0)),
                                     Clip(Picture(48), Sound(90))};
  const SampleHolds holds = Planned(clips);
  EXPECT_EQ(holds[0], (Holds{0, 92160}));
  EXPECT_EQ(ShiftsOf({clips, holds})[1][1], std::nullopt);
}

TEST(Seams, ATrackThatBeginsInALaterClipBeginsBesideTheOthers) {
  std::vector<ClipTimes> clips{Clip(Picture(48), Sound(0)), Clip(Picture(48), Primed(96000 - 1024)),
                               Clip(Picture(48), Sound(90))};
  EXPECT_EQ(PlanSeams(clips)[0], (Holds{0, 0}));
  for (const bool waits : {false, true}) {
    const ClipClocks planned = PlannedClocks(clips, waits);
    const ShownStretch& shown = planned.clips[0][1].shown;
    EXPECT_EQ(shown.kind, ShownStretch::Kind::kPlain);
    EXPECT_EQ(shown.delay, 1920u);
    EXPECT_EQ(shown.start, 1024);
    EXPECT_EQ(*ShiftsOf(planned)[1][1], MomentOf(48, 25));
    EXPECT_EQ(planned.clips[0][0].shown, clips[0][0].shown);
  }
  // Pictures too, beside sound that is alone up to then.
  clips = {Clip(Picture(0), Sound(90)), Clip(Picture(48), Sound(90))};
  EXPECT_EQ(PlannedClocks(clips, true).clips[0][0].shown.delay, 1920u);
}

TEST(Seams, CoarseTicksGoTooFarAndTheOthersFollow) {
  TrackSource picture = Picture(0);
  picture.scale = 30;
  picture.times = {{60, 1}};
  const std::vector<ClipTimes> clips(100, Clip(picture, Primed(96000 - 1024 + 800)));
  Planned(clips);
}

TEST(Seams, PicturesOfTwoClipsAreNeverMixed) {
  TrackSource later = PictureWithLaterOnes();
  const std::vector<ClipTimes> clips{{Times(later)}, {Times(Picture(4))}};
  EXPECT_EQ(Planned(clips)[0], (Holds{1024}));
  const std::vector<ClipTimes> same{{Times(later)}, {Times(later)}};
  EXPECT_EQ(Planned(same), NoHolds(same));
}

TEST(Seams, AreInStepAcrossScalesThatConvert) {
  TrackSource fine = Picture(50);
  fine.scale = 25600;
  fine.times = {{50, 1024}};
  const std::vector<ClipTimes> clips{Clip(Picture(50), Primed(96960)), Clip(fine, Primed(96960)),
                                     Clip(Picture(50), Primed(96960))};
  EXPECT_EQ(Planned(clips)[1], (Holds{529, 0}));
}

TEST(Seams, NoSampleIsHeldLongerThanProgramsRead) {
  TrackSource endless = Sound(0);
  endless.times = {{1, 0x7FFFFFFF}, {1, 0x7FFFFFFF}};
  const std::vector<ClipTimes> clips(2, Clip(Picture(1), endless));
  EXPECT_EQ(PlanSeams(clips)[0], (Holds{1145324099, 0}));
  TrackSource fine = Picture(1);
  fine.scale = 0x7FFFFFFF;
  const std::vector<ClipTimes> finer(2, Clip(fine, endless));
  EXPECT_EQ(PlanSeams(finer)[0], (Holds{0x7FFFFFFF - 512, 0}));
}

TEST(EndsOf, TellsWhereTheResultEndsByTheLastClip) {
  TrackSource cut = Primed(96960);
  cut.edits.front().duration = 1000;
  const std::vector<ClipTimes> clips{Clip(Picture(50), Primed(96960)), Clip(Picture(50), cut)};
  const auto ends = EndsOf({clips, {{529, 0}, {0, 0}}});
  EXPECT_EQ(ends[0], MomentOf(50 * 512 * 2 + 529, 12800));
  EXPECT_EQ(ends[1], SoundTicks(96960 + 1024 + 48000));
}

Bytes Track(std::initializer_list<Bytes> times, std::uint32_t runs, std::uint32_t duration) {
  using support::Box;
  using support::FullBox;
  using support::U32;
  return Box(
      "trak",
      {Box("mdia",
           {FullBox("mdhd", 0, 0, {U32(0), U32(0), U32(12800), U32(duration), U32(0)}),
            Box("minf", {Box("stbl", {FullBox("stts", 0, 0, {U32(runs), support::Join(times)}),
                                      Box("stss")})})})});
}

Bytes Held(const Bytes& track, std::uint32_t ticks) {
  std::span<const unsigned char> in = track;
  RawBox box;
  EXPECT_TRUE(box.Take(in));
  const bool held = HoldLastSample(box, ticks);
  Bytes out;
  box.Write(out);
  EXPECT_EQ(held, out != track);
  return out;
}

TEST(HoldLastSample, LengthensThatSampleAndTheMedia) {
  using support::U32;
  EXPECT_EQ(Held(Track({U32(50), U32(512)}, 1, 25600), 100),
            Track({U32(49), U32(512), U32(1), U32(612)}, 2, 25700));
  EXPECT_EQ(Held(Track({U32(49), U32(512), U32(1), U32(500)}, 2, 25588), 12),
            Track({U32(50), U32(512)}, 1, 25600));
}

TEST(HoldLastSample, ChangesNothingWhereItCant) {
  using support::U32;
  const Bytes none = Track({U32(0), U32(512)}, 1, 0);
  EXPECT_EQ(Held(none, 100), none);
  const Bytes longest = Track({U32(1), U32(0x7FFFFFFF)}, 1, 0x7FFFFFFF);
  EXPECT_EQ(Held(longest, 1), longest);
}

}  // namespace
}  // namespace clipchain
