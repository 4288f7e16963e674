#include "adapt/times/clip_times.h"
#include "adapt/boxes/tracks.h"

#include <algorithm>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/fitted_movie.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

using support::MovieBuilder;

// Sixty pictures in 2 s, and 94 frames of sound: 5.33 ms longer.
MovieBuilder TwoSeconds() {
  MovieBuilder clip;
  clip.timeScale = 1000;
  clip.Add(support::VideoTrack(60)).Add(support::AudioTrack(94));
  for (support::Track& track : clip.tracks) track.movieDuration = 2000;
  return clip;
}

struct Fitted {
  std::vector<std::string> notes;  // "2: the text", by the number of the clip
  std::vector<std::string> problems;
  bool isNeeded;
  RawBox movie;  // without a problem
};

class ClipTimesTest : public testing::Test {
 protected:
  Fitted FitThem(const std::vector<MovieBuilder>& clips, const FitOptions& options = {}) {
    std::vector<std::string> paths;
    for (const MovieBuilder& clip : clips) {
      paths.push_back(dir_ / ("clip" + std::to_string(paths.size() + 1) + ".mp4"));
      support::WriteFile(paths.back(), clip.Build());
    }
    const Fit fit(paths, options);
    Fitted fitted;
    fitted.isNeeded = fit.IsNeeded();
    for (const FitNote& note : fit.Report().notes)
      fitted.notes.push_back(std::to_string(note.clip + 1) + ": " + note.text);
    for (const FitProblem& problem : fit.Report().problems)
      fitted.problems.push_back(std::to_string(problem.clip + 1) + ": " + problem.text);
    if (!fit.Report().Refused()) fitted.movie = FittedMovie(fit, clips.size());
    return fitted;
  }

  support::TempDir dir_;
};

const RawBox& TrackAt(const RawBox& movie, std::size_t index) { return *TracksOf(movie)[index]; }

TimeRuns TimesAt(const RawBox& movie, std::size_t index) {
  return *ReadTimes(*SampleTable(TrackAt(movie, index))->Child(FourCc("stts")));
}

Edits EditsAt(const RawBox& movie, std::size_t index) {
  const RawBox* box = TrackAt(movie, index).At({FourCc("edts"), FourCc("elst")});
  return box != nullptr ? *ReadEdits(*box) : Edits();
}

std::uint64_t TrackDuration(const RawBox& movie, std::size_t index) {
  return ReadTrackHeader(*TrackAt(movie, index).Child(FourCc("tkhd")))->duration;
}

std::uint64_t MediaDurationAt(const RawBox& movie, std::size_t index) {
  return ReadTimeHeader(*TrackAt(movie, index).At({FourCc("mdia"), FourCc("mdhd")}))->duration;
}

std::uint64_t MovieDuration(const RawBox& movie) {
  return ReadTimeHeader(*movie.Child(FourCc("mvhd")))->duration;
}

using Texts = std::vector<std::string>;

TEST_F(ClipTimesTest, ClipsInStepNeedNothing) {
  const Fitted fitted = FitThem({TwoSeconds(), TwoSeconds()});
  EXPECT_FALSE(fitted.isNeeded);
  EXPECT_EQ(fitted.problems, Texts());
}

TEST_F(ClipTimesTest, ThePictureWaitsAndEveryTableSaysSo) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[1] = support::AudioTrack(96);  // 48 ms more
  const Fitted fitted = FitThem({clip, clip, TwoSeconds()});
  EXPECT_EQ(fitted.notes, (Texts{"1: shows the last sample of its track 1 (avc1) 48.0 ms longer",
                                 "2: shows the last sample of its track 1 (avc1) 48.0 ms longer"}));
  EXPECT_EQ(TimesAt(fitted.movie, 0),
            (TimeRuns{{59, 1000}, {1, 2440}, {59, 1000}, {1, 2440}, {60, 1000}}));
  EXPECT_EQ(TimesAt(fitted.movie, 1), (TimeRuns{{96, 1024}, {96, 1024}, {94, 1024}}));
  EXPECT_EQ(MediaDurationAt(fitted.movie, 0), 182880u);
  EXPECT_EQ(TrackDuration(fitted.movie, 0), 6096u);
  EXPECT_EQ(TrackDuration(fitted.movie, 1), 6102u);
  EXPECT_EQ(MovieDuration(fitted.movie), 6102u);
}

TEST_F(ClipTimesTest, ALongWaitIsAWarning) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[1] = support::AudioTrack(94 + 11 * 48000 / 1024);
  const Fitted fitted = FitThem({clip, TwoSeconds()});
  ASSERT_EQ(fitted.problems.size(), 1u);
  EXPECT_NE(fitted.problems[0].find("1: shows the last sample of its track 1 (avc1)"),
            std::string::npos);
  EXPECT_EQ(TracksOf(fitted.movie).size(), 2u) << "it is merged";
}

TEST_F(ClipTimesTest, NothingWaitsWhereTheSeamsStayAsTheyAre) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[1] = support::AudioTrack(96);
  FitOptions options;
  options.seamsAsTheyAre = true;
  EXPECT_FALSE(FitThem({clip, clip}, options).isNeeded);
}

TEST_F(ClipTimesTest, TheDelayOfTheFirstClipIsCarriedOnce) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[1] = support::AudioTrack(80);
  clip.tracks[1].edits = {{300, -1}, {1707, 0}};
  const Fitted fitted = FitThem({clip, clip});
  EXPECT_EQ(fitted.notes, (Texts{"1: shows the last sample of its track 2 (mp4a) 293.3 ms longer",
                                 "1: delays its track 2 (mp4a) by 300.0 ms",
                                 "2: delays its track 2 (mp4a) by 300.0 ms"}));
  EXPECT_EQ(EditsAt(fitted.movie, 1), (Edits{{300, -1}, {3707, 0}}));
  EXPECT_EQ(TrackDuration(fitted.movie, 1), 4007u);
}

TEST_F(ClipTimesTest, ATrackThatTheFirstClipHasNoSamplesOfBeginsWithTheSecond) {
  MovieBuilder silent = TwoSeconds();
  support::Track& sound = silent.tracks[1];
  sound.sampleSizes.clear();
  sound.stts.clear();
  sound.mediaDuration = sound.movieDuration = 0;
  const Fitted fitted = FitThem({silent, TwoSeconds(), TwoSeconds()});
  EXPECT_EQ(fitted.problems, Texts());
  EXPECT_EQ(fitted.notes, (Texts{"2: begins its track 2 (mp4a) beside its others, and no clip "
                                 "before it has samples of that track"}));
  EXPECT_EQ(EditsAt(fitted.movie, 1), (Edits{{2000, -1}, {4011, 0}}));
  EXPECT_EQ(TrackDuration(fitted.movie, 1), 6011u);
  EXPECT_EQ(TimesAt(fitted.movie, 1), (TimeRuns{{94, 1024}, {94, 1024}}));
}

TEST_F(ClipTimesTest, DurationsThatAreNotKnownAreThoseOfTheSamples) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[0].mediaDuration = clip.tracks[0].movieDuration = 0xFFFFFFFF;
  const Fitted fitted = FitThem({clip, clip});
  EXPECT_EQ(fitted.problems, Texts());
  ASSERT_EQ(fitted.notes.size(), 2u);
  EXPECT_EQ(fitted.notes[0],
            "1: has headers that do not say how long its tracks are, as its samples do");
  EXPECT_EQ(MediaDurationAt(fitted.movie, 0), 120000u);
  EXPECT_EQ(TrackDuration(fitted.movie, 0), 4000u);
}

TEST_F(ClipTimesTest, OneClipAloneMayHaveAnEditList) {
  MovieBuilder listed = TwoSeconds();
  listed.tracks[1].edits = {{1984, 1024}};
  Fitted fitted = FitThem({TwoSeconds(), listed});
  EXPECT_EQ(fitted.notes,
            (Texts{"1: shows the last sample of its track 1 (avc1) 26.7 ms longer",
                   "2: has an edit list in its track 2 (mp4a), and the first clip has none"}));
  EXPECT_EQ(EditsAt(fitted.movie, 1), Edits());
  fitted = FitThem({listed, TwoSeconds()});
  EXPECT_EQ(fitted.notes,
            (Texts{"2: has no edit list in its track 2 (mp4a), and the first clip has one"}));
  EXPECT_EQ(EditsAt(fitted.movie, 1), (Edits{{3990, 1024}}));
}

TEST_F(ClipTimesTest, ASoundThatOutlastsThePictureIsShownToItsEnd) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[0].edits = {{2000, 0}};
  clip.tracks[1].edits = {{2006, 0}};
  const Fitted fitted = FitThem({clip, clip});
  EXPECT_EQ(fitted.notes, (Texts{"2: goes on 10.7 ms behind its pictures in its track 2 (mp4a)"}));
  EXPECT_EQ(EditsAt(fitted.movie, 0), (Edits{{4000, 0}}));
  EXPECT_EQ(EditsAt(fitted.movie, 1), (Edits{{4011, 0}}));
  EXPECT_EQ(MovieDuration(fitted.movie), 4011u);
}

TEST_F(ClipTimesTest, WhatFillsUpTheLastFrameStaysHidden) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[1].edits = {{200, -1}, {1980, 0}};
  const Fitted fitted = FitThem({clip, clip});
  EXPECT_EQ(fitted.problems, Texts());
  // Of the last clip 25.33 ms.
  EXPECT_EQ(EditsAt(fitted.movie, 1), (Edits{{200, -1}, {3986, 0}}));
}

TEST_F(ClipTimesTest, ACutIsAProblemInEveryClip) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[0].edits = {{1000, 15000}};
  const Fitted fitted = FitThem({clip, clip});
  const std::string words =
      "hides 15 samples (0.500 s) at the start and 15 samples (0.500 s) at the end of its track 1 "
      "(avc1) by an edit list, and a merge would show it again";
  EXPECT_EQ(fitted.problems, (Texts{"1: " + words, "2: " + words}));
}

TEST_F(ClipTimesTest, AClipByItselfKeepsItsCut) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[0].edits = {{1000, 15000}};
  clip.between = support::Box("wide");
  const Fitted fitted = FitThem({clip});
  EXPECT_TRUE(fitted.isNeeded);
  EXPECT_EQ(fitted.problems, Texts());
  EXPECT_EQ(EditsAt(fitted.movie, 0), (Edits{{1000, 15000}}));
  EXPECT_EQ(TrackDuration(fitted.movie, 0), 2000u);
}

TEST_F(ClipTimesTest, OtherScalesAreConvertedWhereTheyAreExact) {
  MovieBuilder other = TwoSeconds();
  other.timeScale = 600;
  other.tracks[0].timeScale = 90000;
  other.tracks[0].stts = {{60, 3000}};
  other.tracks[0].mediaDuration = 180000;
  Fitted fitted = FitThem({TwoSeconds(), other});
  EXPECT_EQ(fitted.notes,
            (Texts{"2: counts 600 units a second in its movie header, and the first clip 1000",
                   "2: counts 90000 units a second in its track 1 (avc1), and the first clip "
                   "30000"}));
  EXPECT_EQ(TimesAt(fitted.movie, 0), (TimeRuns{{60, 1000}, {60, 1000}}));
  EXPECT_EQ(TrackDuration(fitted.movie, 0), 4000u);
  EXPECT_EQ(MovieDuration(fitted.movie), 4011u);

  other.tracks[0].stts = {{60, 3001}};
  fitted = FitThem({TwoSeconds(), other});
  EXPECT_EQ(fitted.problems,
            (Texts{"2: counts 90000 units a second in its track 1 (avc1), and the first clip "
                   "30000, in which its durations are no whole numbers"}));
}

TEST_F(ClipTimesTest, AnEditListWithoutPartsIsNone) {
  MovieBuilder clip = TwoSeconds();
  clip.tracks[1].edits.emplace();
  const Fitted fitted = FitThem({clip, TwoSeconds(), clip});
  EXPECT_EQ(fitted.problems, Texts());
  EXPECT_EQ(EditsAt(fitted.movie, 1), Edits());
  EXPECT_EQ(TimesAt(fitted.movie, 1), (TimeRuns{{94, 1024}, {94, 1024}, {94, 1024}}));
}

}  // namespace
}  // namespace clipchain
