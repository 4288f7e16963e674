#include "adapt/engine/kept_boxes.h"

#include <gtest/gtest.h>

#include <set>

#include "adapt/made_clips.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

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

}  // namespace
}  // namespace clipchain
