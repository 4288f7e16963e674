#include "adapt/tables/spare_entries.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/fragment_boxes.h"
#include "adapt/made_clips.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

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

}  // namespace
}  // namespace clipchain
