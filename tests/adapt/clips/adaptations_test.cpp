// What stands between the clips and the engine, one step of the row at a time.
#include <gtest/gtest.h>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/clips/adaptation.h"
#include "adapt/clips/media_map.h"
#include "adapt/descriptions/data_references.h"
#include "adapt/descriptions/sample_descriptions.h"
#include "adapt/engine/engine_movie.h"
#include "adapt/engine/kept_boxes.h"
#include "adapt/engine/top_level.h"
#include "adapt/engine/track_order.h"
#include "adapt/fragment_boxes.h"
#include "adapt/tables/spare_entries.h"
#include "adapt/tables/torn_boxes.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

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

void AdaptEach(ClipAdaptation adapt, FitClips& clips, FitReport& report) {
  for (std::size_t i = 0; i < clips.size(); ++i) adapt(clips[i], i, report);
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

TEST(KeptBoxes, NamesWhatTheEngineWouldWriteOtherwise) {
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
  FitClips clips = ClipsOf({clip});
  FitReport report;
  AdaptEach(AdaptKeptBoxes, clips, report);
  EXPECT_TRUE(report.notes.empty()) << report.notes[0].text;
  clip.tracks[0].sampleEntry =
      support::Box("hvc1", {support::Zeros(78), support::Box("hvcC", {support::Zeros(23)})});
  clips = ClipsOf({clip});
  AdaptEach(AdaptKeptBoxes, clips, report);
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
    AdaptEach(AdaptKeptBoxes, clips, report);
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
  AdaptEach(AdaptKeptBoxes, clips, report);
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

// A person reads which field it is; what declares rates is never the reason.
TEST(SampleDescriptions, WhoseFieldsDifferAreNamed) {
  using namespace support;
  struct Case {
    const char* type;
    Bytes first;
    Bytes second;
    const char* words;
  };
  const Bytes rates = Box("btrt", {U32(1), U32(2), U32(3)});
  const Bytes shape = Box("pasp", {U32(4), U32(3)});
  for (const Case& known :
       {Case{"vide", rates + shape, shape + Box("colr", {U32(FourCc("nclx"))}),
             "\"avc1\" has a box \"colr\" (what its colours are), which that of clip.mp4 has not"},
        {"vide", shape, rates + Box("clap", {U32(1)}),
         "\"avc1\" has a box \"clap\" (which part is shown), which that of clip.mp4 has not"},
        {"vide", shape + Box("zzzz", {U32(1)}), rates + shape,
         "\"avc1\" has no box \"zzzz\", which that of clip.mp4 has"},
        {"vide", shape, rates + Box("pasp", {U32(4), U32(5)}),
         "the vertical spacing of \"pasp\" in \"avc1\" is 5, and 3 in clip.mp4"},
        {"vide", Box("zzzz", {U32(1)}), Box("zzzz", {U32(3)}),
         "byte 3 of \"zzzz\" in \"avc1\" is 3, and 1 in clip.mp4"},
        {"vide", Box("zzzz", {U32(1)}), Box("zzzz", {U16(1)}),
         "\"zzzz\" in \"avc1\" has 2 bytes, and 4 in clip.mp4"},
        {"soun", Box("dac3", {U24(0x100800)}), Box("dac3", {U24(0x1008A0)}),
         "the bit rate code of \"dac3\" in \"mp4a\" is 5, and 0 in clip.mp4"}}) {
    const bool isSound = std::string(known.type) == "soun";
    const auto with = [&](const Bytes& boxes) {
      MovieBuilder clip = MovieBuilder().Add(isSound ? AudioTrack(4) : VideoTrack(4));
      const Bytes entry = clip.tracks[0].sampleEntry;
      clip.tracks[0].sampleEntry =
          Box(isSound ? "mp4a" : "avc1", {Slice(entry, 8, isSound ? 36 : 86), boxes});
      return clip;
    };
    FitClips clips = ClipsOf({with(known.first), with(known.second)});
    FitReport report;
    MakeSampleDescriptions()->Adapt(clips, report);
    ASSERT_EQ(report.problems.size(), 1u);
    EXPECT_NE(report.problems[0].text.find(known.words), std::string::npos)
        << report.problems[0].text;
  }
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

// What the first track of the result says of its samples: the body of "stsd".
Bytes JoinedDescriptions(FitClips& clips) {
  FitReport report;
  const auto adaptation = MakeSampleDescriptions();
  adaptation->Adapt(clips, report);
  EXPECT_TRUE(report.problems.empty());
  RawBox movie = clips[0].movie;
  adaptation->Complete(movie);
  return SampleTable(*TracksOf(movie)[0])->Child(FourCc("stsd"))->data;
}

// What a "dfLa" says of one clip alone is left out; its frame sizes are those of all.
TEST(SampleDescriptions, FramesOfAllClipsAreDeclared) {
  using namespace support;
  const auto with = [](unsigned int least, unsigned int most, unsigned int sum) {
    MovieBuilder clip = MovieBuilder().Add(AudioTrack(4));
    const Bytes entry = AudioEntry();
    const Bytes info =
        FullBox("dfLa", 0, 0,
                {U32(0x80000022), U32(0x10001000), U24(least), U24(most), U32(0x0AC442F0),
                 U32(1000), U32(sum), U32(sum), U32(sum), U32(sum)});
    clip.tracks[0].sampleEntry = support::Box("fLaC", {Slice(entry, 8, 36), info});
    return clip;
  };
  const auto joined = [](const std::vector<MovieBuilder>& builders) {
    FitClips clips = ClipsOf(builders);
    const Bytes found = JoinedDescriptions(clips);
    return Slice(found, found.size() - 34, found.size());
  };
  const auto wanted = [](unsigned int least, unsigned int most) {
    return U32(0x10001000) + U24(least) + U24(most) + U32(0x0AC442F0) + Bytes(20, 0);
  };
  EXPECT_EQ(joined({with(5, 70, 1), with(4, 80, 2)}), wanted(4, 80));
  EXPECT_EQ(joined({with(5, 70, 1), with(0, 0, 0), with(4, 80, 2)}), wanted(0, 0));
  EXPECT_EQ(joined({with(5, 70, 1), with(5, 70, 1), with(6, 60, 1)}), wanted(5, 70));
  // What all say stays as it is.
  EXPECT_EQ(Slice(joined({with(5, 70, 1), with(5, 70, 1)}), 10, 34),
            U32(0x0AC442F0) + U32(1000) + U32(1) + U32(1) + U32(1) + U32(1));
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

// A clip with pictures of these descriptions, of which its chunks have that one.
MovieBuilder Described(const std::vector<Bytes>& entries, std::uint32_t used) {
  using namespace support;
  MovieBuilder clip = MovieBuilder().Add(VideoTrack(4));
  clip.tracks[0].withSampleDescription = false;
  Bytes all = U32(static_cast<std::uint32_t>(entries.size()));
  for (const Bytes& entry : entries) all = all + entry;
  clip.tracks[0].extraTableBoxes =
      FullBox("stsd", 0, 0, {all}) + FullBox("stsc", 0, 0, {U32(1), U32(1), U32(4), U32(used)});
  return clip;
}

Bytes OfRate(Bytes entry, std::uint32_t most) {
  using namespace support;
  return Box("avc1", {Slice(entry, 8, entry.size()), Box("btrt", {U32(1), U32(most), U32(7)})});
}

// The built movie has a "stsc" of its own in front, which these take the place of.
FitClip DescribedClip(const std::vector<Bytes>& entries, std::uint32_t used) {
  FitClip clip = ClipOf(Described(entries, used));
  auto& tables = SampleTable(*TracksOf(clip.movie)[0])->children;
  tables.erase(std::find_if(tables.begin(), tables.end(),
                            [](const RawBox& box) { return box.type == FourCc("stsc"); }));
  return clip;
}

// Its chunks may be of one that the first clip lacks.
TEST(SampleDescriptions, OfAClipThatHasMoreAreAllShown) {
  const Bytes a = support::AvcEntry();
  const FitClip first = DescribedClip({a}, 1);
  const FitClip more = DescribedClip({a, support::AudioEntry()}, 2);
  const auto shown = [&first](const FitClip& clip) {
    const RawBox movie = EngineMovie(clip.movie, first.movie, nullptr);
    return SampleEntryCount(*SampleTable(*TracksOf(movie)[0])->Child(FourCc("stsd")));
  };
  EXPECT_EQ(shown(more), 2u);
  EXPECT_EQ(shown(first), 1u);
}

TEST(SampleDescriptions, AreFoundAmongThoseOfTheFirstClip) {
  const Bytes a = support::AvcEntry();
  const Bytes b = support::AvcEntry(support::Hex("01640029FFE1000467640029 01000468EE3CB0"));
  const Bytes c = support::AudioEntry();
  struct Case {
    std::vector<Bytes> first;
    std::vector<Bytes> second;
    std::uint32_t used;
    std::uint32_t becomes;  // 0: refused
  };
  for (const Case& known : {Case{{a, b}, {b, a}, 1, 2},
                            {{a, b}, {b}, 1, 2},
                            {{a}, {c, a}, 2, 1},
                            {{a}, {c, a}, 1, 0},
                            {{a, b}, {c}, 1, 0}}) {
    FitClips clips;
    clips.push_back(DescribedClip(known.first, 1));
    clips.push_back(DescribedClip(known.second, known.used));
    FitReport report;
    MakeSampleDescriptions()->Adapt(clips, report);
    ASSERT_EQ(report.problems.empty(), known.becomes != 0);
    if (known.becomes == 0) continue;
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].kind, AdaptationKind::kDescriptions);
    const RawBox* table = SampleTable(*TracksOf(std::as_const(clips[1].movie))[0]);
    EXPECT_EQ(ReadChunkRuns(*table->Child(FourCc("stsc")))->front().description, known.becomes);
  }
}

// Two of the later clip are one of the result, whatever the rates that either declares.
TEST(SampleDescriptions, OfTheSameWithOtherRatesCountTogether) {
  using namespace support;
  const Bytes entry = AvcEntry();
  for (const auto& later :
       {std::vector{OfRate(entry, 900), OfRate(entry, 600)}, std::vector{OfRate(entry, 900), entry},
        std::vector{OfRate(entry, 500), OfRate(entry, 900)}}) {
    FitClips clips;
    clips.push_back(DescribedClip({OfRate(entry, 500)}, 1));
    clips.push_back(DescribedClip(later, 1));
    const Bytes found = JoinedDescriptions(clips);
    const Bytes wanted = U32(1) + U32(900);
    EXPECT_NE(std::search(found.begin(), found.end(), wanted.begin(), wanted.end()), found.end());
  }
}

TEST(SampleDescriptions, ThatDeclareNoRatesAreNoOthers) {
  const Bytes bare = support::AvcEntry();
  for (const bool isFirst : {true, false}) {
    FitClips clips;
    clips.push_back(DescribedClip({isFirst ? OfRate(bare, 900) : bare}, 1));
    clips.push_back(DescribedClip({isFirst ? bare : OfRate(bare, 900)}, 1));
    const Bytes before = SampleTable(*TracksOf(clips[0].movie)[0])->Child(FourCc("stsd"))->data;
    FitReport report;
    const auto adaptation = MakeSampleDescriptions();
    adaptation->Adapt(clips, report);
    EXPECT_TRUE(report.problems.empty());
    ASSERT_EQ(report.notes.size(), 1u);
    adaptation->Complete(clips[0].movie);
    Bytes after = SampleTable(*TracksOf(clips[0].movie)[0])->Child(FourCc("stsd"))->data;
    // But for the average, which is that of all media.
    if (isFirst) std::copy(before.end() - 4, before.end(), after.end() - 4);
    EXPECT_EQ(before, after);
  }
}

TEST(SpareEntries, OfChunksAndOffsetsArePassedOver) {
  using namespace support;
  AnnouncedTrack track;
  const auto tables = [](std::uint32_t samples, const Bytes& chunks, const Bytes& offsets) {
    return FullBox("stsz", 0, 0, {U32(1), U32(samples)}) + chunks + offsets;
  };
  // Two chunks of three and two of two.
  const Bytes runs =
      FullBox("stsc", 0, 0, {U32(2), U32(1), U32(3), U32(1), U32(3), U32(2), U32(2)});
  const Bytes offsets = FullBox("stco", 0, 0, {U32(4), U32(10), U32(20), U32(30), U32(40)});
  const auto cut = [&](std::uint32_t samples, const Bytes& more, FitReport& report) {
    track.tables = tables(samples, runs + offsets, more);
    FitClips clips;
    clips.emplace_back("clip.mp4");
    clips[0].movie = RawBoxOf(AnnouncingMovie({track}));
    AdaptEach(AdaptSpareEntries, clips, report);
    return *SampleTable(*TracksOf(clips[0].movie)[0]);
  };
  FitReport whole;
  cut(10, FullBox("ctts", 1, 0, {U32(1), U32(10), U32(5)}), whole);
  cut(11, FullBox("ctts", 1, 0, {U32(1), U32(10), U32(5)}), whole);
  EXPECT_TRUE(whole.notes.empty());
  for (const auto& [samples, chunks, run] : {std::tuple{8u, 3u, ChunkRun{3, 2, 2}},
                                             {7u, 3u, {3, 1, 2}},
                                             {6u, 2u, {1, 3, 1}},
                                             {4u, 2u, {2, 1, 1}},
                                             {9u, 4u, {4, 1, 2}}}) {
    FitReport report;
    const RawBox table = cut(samples, FullBox("ctts", 1, 0, {U32(1), U32(10), U32(5)}), report);
    EXPECT_EQ(report.notes.size(), 2u);
    const auto kept = ReadChunkRuns(*table.Child(FourCc("stsc")));
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->back(), run) << samples;
    EXPECT_EQ(ReadChunkOffsets(*table.Child(FourCc("stco")))->size(), chunks);
    EXPECT_EQ(SampleCount(*kept, chunks), samples);
    EXPECT_EQ(ReadOffsets(*table.Child(FourCc("ctts"))), (OffsetRuns{{samples, 5}}));
    EXPECT_EQ(table.Child(FourCc("ctts"))->data.front(), 1);
  }
}

// Of two tables programs read the first or the last.
TEST(SpareEntries, OfATableThatIsThereTwiceNobodyDecides) {
  using namespace support;
  for (const unsigned int type : {FourCc("stts"), FourCc("ctts"), FourCc("stss"), FourCc("stsz"),
                                  FourCc("stsc"), FourCc("co64")}) {
    const MovieBuilder clip = MovieBuilder().Add(VideoTrack(4));
    FitClips clips = ClipsOf({clip, clip});
    auto& tables = SampleTable(*TracksOf(clips[1].movie)[0])->children;
    for (int i = 0; i < 2; ++i) tables.emplace_back(type, Bytes(8, 0));
    FitReport report;
    AdaptEach(AdaptSpareEntries, clips, report);
    ASSERT_EQ(report.problems.size(), 1u) << FourCcText(type);
    EXPECT_EQ(report.problems[0].kind, FitProblemKind::kTablesDisagree);
    EXPECT_EQ(report.problems[0].clip, 1u);
    EXPECT_NE(report.problems[0].text.find("two boxes \"" + FourCcText(type)), std::string::npos);
  }
}

// Some programs read the one form, others the other.
TEST(SpareEntries, OfATableInTwoFormsNobodyDecides) {
  using namespace support;
  const std::pair<unsigned int, unsigned int> forms[] = {{FourCc("stsz"), FourCc("stz2")},
                                                         {FourCc("stco"), FourCc("co64")}};
  for (const auto& [plain, other] : forms) {
    const MovieBuilder clip = MovieBuilder().Add(VideoTrack(4));
    FitClips clips = ClipsOf({clip, clip});
    SampleTable(*TracksOf(clips[1].movie)[0])->children.emplace_back(other, Bytes(12, 0));
    FitReport report;
    AdaptEach(AdaptSpareEntries, clips, report);
    ASSERT_EQ(report.problems.size(), 1u) << FourCcText(other);
    EXPECT_EQ(report.problems[0].kind, FitProblemKind::kTablesDisagree);
    EXPECT_EQ(report.problems[0].clip, 1u);
    EXPECT_NE(report.problems[0].text.find("both \"" + FourCcText(plain) + "\" and \"" +
                                           FourCcText(other) + '"'),
              std::string::npos)
        << report.problems[0].text;
  }
}

TEST(DataReferences, ToFilesThatNoSampleLiesInAreKept) {
  using namespace support;
  const Bytes own = FullBox("url ", 0, 1, {});
  const Bytes other = FullBox("url ", 0, 0, {Text("file:///x")});
  const auto clipOf = [](const std::vector<Bytes>& references, std::uint8_t used) {
    FitClip clip = ClipOf(MovieBuilder().Add(VideoTrack(4)));
    RawBox& track = *TracksOf(clip.movie)[0];
    Bytes body = U32(0) + U32(static_cast<std::uint32_t>(references.size()));
    for (const Bytes& reference : references) body = body + reference;
    track.At({FourCc("mdia"), FourCc("minf"), FourCc("dinf"), FourCc("dref")})->data = body;
    SampleTable(track)->Child(FourCc("stsd"))->data[8 + 15] = used;
    return clip;
  };
  struct Case {
    std::vector<Bytes> first;
    std::vector<Bytes> second;
    std::uint8_t used;
    std::size_t notes;
    std::size_t problems;
  };
  for (const Case& known : {Case{{own}, {own}, 1, 0, 0},
                            {{own, other}, {own, other}, 1, 2, 0},
                            {{other, own}, {other, own}, 2, 2, 0},
                            {{own}, {own, other}, 1, 1, 0},
                            {{own, other}, {own, other}, 2, 0, 0},
                            {{other}, {own}, 1, 0, 1}}) {
    FitClips clips;
    clips.push_back(clipOf(known.first, known.used));
    clips.push_back(clipOf(known.second, known.used));
    FitReport report;
    MakeDataReferences()->Adapt(clips, report);
    EXPECT_EQ(report.notes.size(), known.notes);
    EXPECT_EQ(report.problems.size(), known.problems);
    RawBox track = *TracksOf(clips[1].movie)[0];
    NameOwnFileAlone(track);
    const Bytes& shown =
        track.At({FourCc("mdia"), FourCc("minf"), FourCc("dinf"), FourCc("dref")})->data;
    const bool namesOther =
        std::search(shown.begin(), shown.end(), other.begin(), other.end()) != shown.end();
    EXPECT_EQ(namesOther, known.used == 2 && known.notes == 0);
  }
}

TEST(TopLevel, TellsOnceOfAllBoxesOfATypeThatAreLost) {
  const support::TempDir folder;
  const std::string path = folder / "clip.mp4";
  MovieBuilder builder = MovieBuilder().Add(support::VideoTrack(4));
  const Bytes event = support::Box("emsg", {support::U32(7)});
  builder.tail = event + support::Box("uuid", {support::Zeros(20)}) + event;
  support::WriteFile(path, builder.Build());
  FitClips clips;
  clips.emplace_back(path);
  FitReport report;
  MemoryBudget memory;
  ASSERT_TRUE(clips[0].Open(0, report, memory));
  AdaptTopLevel(clips[0], 0, report);
  ASSERT_EQ(report.problems.size(), 2u);
  EXPECT_EQ(report.problems[0].text,
            "has 2 boxes \"emsg\" of 24 bytes at its top level, which a merge leaves out");
  EXPECT_EQ(report.problems[1].box, "uuid");
}

TEST(MediaMap, BeginsWithMediaWhateverIsEmptyInFrontOfIt) {
  const MediaMap media({{48, 0}, {56, 5000}, {5064, 0}, {5072, 5000}}, 40, 512);
  EXPECT_EQ(media.Gaps(), (std::vector<std::uint64_t>{0, 0, 0, 16}));
  EXPECT_EQ(40u, media.At(56));
  EXPECT_EQ(10'016u, media.Size());
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

// Problems of a movie whose box of that type was made longer by one byte.
std::vector<FitProblem> ProblemsOfLonger(const char* type) {
  MovieBuilder builder = MovieBuilder().Add(support::VideoTrack(4));
  builder.tracks[0].edits = {{4, 0}};
  Bytes movie;
  MovieOf(builder).Write(movie);
  const std::size_t at = support::FindBox(movie, type);
  FitClip clip("clip.mp4");
  clip.movie = RawBoxOf(support::WithU32(movie, at, support::ReadU32(movie, at) + 1));
  FitReport report;
  RefuseTornBoxes(clip, 0, report);
  return report.problems;
}

TEST(TornBoxes, AreRefusedWithTheirPlace) {
  for (const auto& [type, place] : {std::pair("elst", "moov/trak[0]/edts"),
                                    {"stbl", "moov/trak[0]/mdia/minf"},
                                    {"minf", "moov/trak[0]/mdia"}}) {
    const std::vector<FitProblem> problems = ProblemsOfLonger(type);
    ASSERT_FALSE(problems.empty()) << type;
    EXPECT_EQ(problems[0].kind, FitProblemKind::kBoxDamaged);
    EXPECT_EQ(problems[0].box, place);
    EXPECT_NE(problems[0].text.find(std::string("a box \"") + type), std::string::npos);
  }
}

TEST(TornBoxes, ZerosAtTheEndAreRoom) {
  FitClip clip = ClipOf(MovieBuilder().Add(support::VideoTrack(4)));
  TracksOf(clip.movie)[0]->data = Bytes(4);
  FitReport report;
  RefuseTornBoxes(clip, 0, report);
  EXPECT_TRUE(report.problems.empty());
  TracksOf(clip.movie)[0]->data = Bytes{0, 0, 1};
  RefuseTornBoxes(clip, 0, report);
  ASSERT_EQ(report.problems.size(), 1u);
  EXPECT_NE(report.problems[0].text.find("no box"), std::string::npos);
}

}  // namespace
}  // namespace clipchain
