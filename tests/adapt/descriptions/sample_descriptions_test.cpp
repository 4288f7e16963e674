#include "adapt/descriptions/sample_descriptions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/engine/engine_movie.h"
#include "adapt/made_clips.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

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

}  // namespace
}  // namespace clipchain
