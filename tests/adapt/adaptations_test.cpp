// What stands between the clips and the engine, one step of the row at a time.
#include <gtest/gtest.h>

#include "adapt/engine_movie.h"
#include "adapt/fields.h"
#include "adapt/kept_boxes.h"
#include "adapt/sample_descriptions.h"
#include "adapt/track_headers.h"
#include "adapt/track_order.h"
#include "adapt/track_tables.h"
#include "foundation/fourcc.h"
#include "fragment_boxes.h"
#include "support/movie_builder.h"
#include "support/vendor_box.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;

// The movie box of a file.
RawBox MovieOf(const MovieBuilder& builder) {
  const Bytes file = builder.Build();
  const auto begin = file.begin() + static_cast<std::ptrdiff_t>(support::FindBox(file, "moov"));
  return RawBoxOf(Bytes(begin, file.end()));
}

FitClip ClipOf(const MovieBuilder& builder) {
  FitClip clip("clip.mp4");
  clip.movie = MovieOf(builder);
  return clip;
}

FitClips ClipsOf(const std::vector<MovieBuilder>& builders) {
  FitClips clips;
  for (const MovieBuilder& builder : builders) clips.push_back(ClipOf(builder));
  return clips;
}

std::vector<unsigned int> IdsOf(const RawBox& movie) {
  std::vector<unsigned int> ids;
  for (const RawBox* track : TracksOf(movie)) ids.push_back(RawTrackId(*track));
  return ids;
}

using Ids = std::vector<unsigned int>;

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

TEST(KeptBoxes, NamesWhatTheEngineWouldWriteOtherwise) {
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
  FitClips clips = ClipsOf({clip});
  FitReport report;
  MakeKeptBoxes()->Adapt(clips, report);
  EXPECT_TRUE(report.notes.empty()) << report.notes[0].text;
  clip.tracks[0].sampleEntry =
      support::Box("hvc1", {support::Zeros(78), support::Box("hvcC", {support::Zeros(23)})});
  clips = ClipsOf({clip});
  MakeKeptBoxes()->Adapt(clips, report);
  ASSERT_FALSE(report.notes.empty());
  EXPECT_EQ(report.notes[0].kind, AdaptationKind::kDescriptions);
  EXPECT_EQ(report.notes[0].track, 1u);
}

// A table of items' places: one item of 16 bytes at byte 1,000 by that method.
Bytes ItemsBox(unsigned char version, std::uint16_t method, bool withVersion) {
  using namespace support;
  const Bytes head = version == 0 ? U16(1) : U16(1) + U16(method);
  const Bytes item = head + U16(0) + U16(1) + U32(1000) + U32(16);
  const Bytes places = FullBox("iloc", version, 0, {Hex("44 00"), U16(1), item});
  const Bytes handler = FullBox("hdlr", 0, 0, {Zeros(21)});
  return withVersion ? FullBox("meta", 0, 0, {handler, places}) : Box("meta", {handler, places});
}

TEST(KeptBoxes, WhoseItemsLieInTheFileAreLeftOut) {
  for (const Bytes& meta :
       {ItemsBox(0, 0, true), ItemsBox(1, 0, true), ItemsBox(0, 0, false),
        support::FullBox("meta", 0, 0, {support::FullBox("iloc", 0, 0, {support::Hex("44")})})}) {
    MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
    clip.extraMovieBoxes = meta;
    clip.tracks[0].extraTrackBoxes = support::Box("udta", {meta});
    FitClips clips = ClipsOf({clip, clip});
    FitReport report;
    MakeKeptBoxes()->Adapt(clips, report);
    EXPECT_EQ(clips[0].movie.Child(FourCc("meta")), nullptr);
    ASSERT_EQ(report.problems.size(), 2u);
    EXPECT_EQ(report.problems[0].kind, FitProblemKind::kBoxLost);
    EXPECT_EQ(report.problems[0].track, 1u);
    EXPECT_EQ(report.problems[1].box, "moov/meta");
    EXPECT_EQ(report.dropped, std::set<unsigned int>{FourCc("meta")});
  }
  // Those that hold their items themselves are not.
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
  clip.extraMovieBoxes = ItemsBox(1, 1, true);
  FitClips clips = ClipsOf({clip});
  FitReport report;
  MakeKeptBoxes()->Adapt(clips, report);
  EXPECT_NE(clips[0].movie.Child(FourCc("meta")), nullptr);
  EXPECT_TRUE(report.problems.empty());
}

TEST(SampleDescriptions, OfOtherSettingsAreRefused) {
  MovieBuilder first = MovieBuilder().Add(support::VideoTrack(4));
  MovieBuilder second = first;
  second.tracks[0].sampleEntry =
      support::AvcEntry(support::Hex("01640029FFE1000467640029 01000468EE3CB0"));
  FitClips clips = ClipsOf({first, second});
  FitReport report;
  MakeSampleDescriptions()->Adapt(clips, report);
  ASSERT_EQ(report.problems.size(), 1u);
  EXPECT_EQ(report.problems[0].kind, FitProblemKind::kSampleDescription);
  EXPECT_EQ(report.problems[0].clip, 1u);
}

TEST(SampleDescriptions, TheLargestRatesAreDeclared) {
  const auto with = [](std::uint32_t buffer, std::uint32_t most) {
    MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
    support::Track& track = clip.tracks[0];
    track.sampleEntry = support::Box(
        "avc1",
        {Bytes(track.sampleEntry.begin() + 8, track.sampleEntry.end()),
         support::Box("btrt", {support::U32(buffer), support::U32(most), support::U32(1)})});
    return clip;
  };
  FitClips clips = ClipsOf({with(10, 900), with(20, 500)});
  FitReport report;
  const auto adaptation = MakeSampleDescriptions();
  adaptation->Adapt(clips, report);
  EXPECT_TRUE(report.problems.empty());
  ASSERT_EQ(report.notes.size(), 1u);
  EXPECT_EQ(report.notes[0].kind, AdaptationKind::kBitRates);
  RawBox movie = clips[0].movie;
  adaptation->Complete(movie);
  const Bytes& found = SampleTable(*TracksOf(movie)[0])->Child(FourCc("stsd"))->data;
  const Bytes wanted = support::U32(20) + support::U32(900);
  EXPECT_NE(std::search(found.begin(), found.end(), wanted.begin(), wanted.end()), found.end());
}

// One box of two says the same in both clips.
TEST(SampleDescriptions, RatesThatAllClipsDeclareStay) {
  using namespace support;
  const auto rates = [](std::uint32_t most) {
    return support::Box("btrt", {U32(1), U32(most), U32(7)});
  };
  const auto with = [&](std::uint32_t most) {
    MovieBuilder clip = MovieBuilder().Add(VideoTrack(4));
    const Bytes entry = clip.tracks[0].sampleEntry;
    clip.tracks[0].sampleEntry =
        support::Box("avc1", {Slice(entry, 8, entry.size()), rates(most), rates(300)});
    return clip;
  };
  FitClips clips = ClipsOf({with(900), with(500)});
  FitReport report;
  const auto adaptation = MakeSampleDescriptions();
  adaptation->Adapt(clips, report);
  RawBox movie = clips[0].movie;
  adaptation->Complete(movie);
  const Bytes& found = SampleTable(*TracksOf(movie)[0])->Child(FourCc("stsd"))->data;
  const Bytes same = rates(300);
  EXPECT_TRUE(std::equal(same.rbegin(), same.rend(), found.rbegin()));
  const Bytes first = rates(900);
  EXPECT_EQ(std::search(found.begin(), found.end(), first.begin(), first.end()), found.end());
}

TEST(MediaMap, FindsWhatLiesInSeveralPlaces) {
  const MediaMap media({{500, 10}, {100, 20}}, 40);
  EXPECT_EQ(media.Size(), 30u);
  EXPECT_EQ(media.At(500), 40u);
  EXPECT_EQ(media.At(509), 49u);
  EXPECT_EQ(media.At(100), 50u);
  EXPECT_EQ(media.At(510), std::nullopt);
  EXPECT_EQ(media.At(99), std::nullopt);
  EXPECT_EQ(media.Behind(105), 15u);
  EXPECT_EQ(media.Behind(120), 0u);
}

TEST(EngineMovie, StandsForATrackAndIsUndoneAgain) {
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4, 7));
  clip.tracks[0].sampleEntry =
      support::Box("hvc1", {support::Zeros(78), support::Box("hvcC", {support::Zeros(23)})});
  clip.tracks[0].extraTableBoxes = support::Box("zzzz", {support::U32(1)});
  const RawBox movie = MovieOf(clip);
  RawBox shown = EngineMovie(movie, movie, nullptr);
  EXPECT_EQ(IdsOf(shown), Ids{7});
  EXPECT_LT(shown.Size(), movie.Size());
  const auto merged = MergedMovie(movie, shown);
  ASSERT_TRUE(merged.has_value());
  Bytes before;
  Bytes after;
  movie.Write(before);
  merged->Write(after);
  EXPECT_EQ(before, after);
  shown.children.pop_back();
  EXPECT_FALSE(MergedMovie(movie, shown).has_value()) << "another number of tracks";
}

TEST(EngineMovie, FlagsThatNoTableHasAreNotShown) {
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
  RawBox movie = MovieOf(clip);
  RawBox& times = *SampleTable(*TracksOf(movie)[0])->Child(FourCc("stts"));
  times.data[2] = 9;
  RawBox shown = EngineMovie(movie, movie, nullptr);
  EXPECT_EQ(SampleTable(*TracksOf(shown)[0])->Child(FourCc("stts"))->data[2], 0);
}

}  // namespace
}  // namespace clipchain
