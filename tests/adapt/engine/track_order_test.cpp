#include "adapt/engine/track_order.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>
#include <vector>

#include "adapt/boxes/tracks.h"
#include "adapt/made_clips.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::MovieBuilder;

TEST(TrackOrder, PutsPartnersBesideTheFirstClipsTracks) {
  MovieBuilder first = MovieBuilder().Add(support::VideoTrack(4)).Add(support::AudioTrack(6));
  MovieBuilder second =
      MovieBuilder().Add(support::AudioTrack(6, 8)).Add(support::VideoTrack(4, 9));
  FitClips clips = ClipsOf({first, second});
  FitReport report;
  MakeTrackOrder({})->Adapt(clips, report);
  EXPECT_EQ(IdsOf(clips[1].movie), (Ids{9, 8}));
  ASSERT_EQ(report.notes.size(), 1u);
  EXPECT_EQ(report.notes[0].kind, AdaptationKind::kTrackOrder);
  EXPECT_TRUE(report.problems.empty());
}

TEST(TrackOrder, OfSeveralTheOneWithTheSameDescriptionContinues) {
  support::Track other = support::VideoTrack(4, 2);
  other.sampleEntry = support::AvcEntry(support::Hex("01640029FFE1000467640029 01000468EE3CB0"));
  FitClips clips = ClipsOf({MovieBuilder().Add(support::VideoTrack(4, 1)).Add(other),
                            MovieBuilder().Add(other).Add(support::VideoTrack(4, 1))});
  FitReport report;
  MakeTrackOrder({})->Adapt(clips, report);
  EXPECT_EQ(IdsOf(clips[1].movie), (Ids{1, 2}));
}

TEST(TrackOrder, TakesReferencesToTracksThatAreLeftOutAway) {
  support::Track pictures = support::VideoTrack(4);
  pictures.extraTrackBoxes =
      support::Box("tref", {support::Box("cdsc", {support::U32(2), support::U32(3)})});
  const MovieBuilder first = MovieBuilder()
                                 .Add(pictures)
                                 .Add(support::AudioTrack(6))
                                 .Add(support::TimecodeTrack({support::U32(1)}));
  const MovieBuilder second = MovieBuilder().Add(pictures).Add(support::AudioTrack(6));
  FitClips clips = ClipsOf({first, second});
  FitReport report;
  MakeTrackOrder({})->Adapt(clips, report);
  EXPECT_TRUE(report.LacksPartners());
  clips = ClipsOf({first, second});
  report = {};
  FitOptions options;
  options.commonTracks = true;
  MakeTrackOrder(options)->Adapt(clips, report);
  EXPECT_TRUE(report.problems.empty());
  EXPECT_EQ(IdsOf(clips[0].movie), (Ids{1, 2}));
  EXPECT_EQ(report.leftOut, (std::set<unsigned int>{3}));
  const RawBox* reference =
      TracksOf(std::as_const(clips[0].movie))[0]->At({FourCc("tref"), FourCc("cdsc")});
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(reference->data, support::U32(2));
}

// A session is described with the tracks of hints, and not without them.
TEST(TrackOrder, TakesTheSessionOfHintsThatAreLeftOutAway) {
  for (const bool areHints : {true, false}) {
    MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4)).Add(support::AudioTrack(6));
    clip.tracks[1].handler = areHints ? "hint" : "soun";
    clip.extraMovieBoxes = support::Box(
        "udta", {support::Box("hnti", {support::U32(7)}), support::Box("name", {support::U32(1)})});
    FitClips clips = ClipsOf({clip, clip});
    FitReport report;
    FitOptions options;
    options.commonTracks = true;
    MakeTrackOrder(options)->Adapt(clips, report);
    const RawBox* userData = clips[0].movie.Child(FourCc("udta"));
    ASSERT_NE(userData, nullptr);
    EXPECT_EQ(userData->Child(FourCc("hnti")) == nullptr, areHints);
    EXPECT_NE(userData->Child(FourCc("name")), nullptr);
    EXPECT_EQ(report.dropped.count(FourCc("hnti")), areHints ? 1u : 0u);
  }
}

TEST(TrackOrder, NamesReferencesThatAreLost) {
  const auto referring = [](std::uint32_t to) {
    MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4)).Add(support::AudioTrack(3));
    if (to != 0)
      clip.tracks[0].extraTrackBoxes =
          support::Box("tref", {support::Box("sync", {support::U32(to)})});
    return clip;
  };
  for (const auto& [first, second, lost] : {std::tuple{0u, 2u, true},
                                            {2u, 2u, false},
                                            {2u, 0u, false},
                                            {1u, 2u, true},
                                            {0u, 9u, false}}) {
    FitClips clips = ClipsOf({referring(first), referring(second)});
    FitReport report;
    MakeTrackOrder({})->Adapt(clips, report);
    ASSERT_EQ(report.problems.size(), lost ? 1u : 0u) << first << second;
    if (lost) {
      EXPECT_EQ(report.problems[0].kind, FitProblemKind::kBoxLost);
      EXPECT_EQ(report.problems[0].clip, 1u);
      EXPECT_EQ(report.problems[0].track, 1u);
    }
  }
}

}  // namespace
}  // namespace clipchain
