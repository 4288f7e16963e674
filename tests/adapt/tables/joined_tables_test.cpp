#include "adapt/tables/joined_tables.h"
#include "adapt/boxes/tracks.h"

#include <gtest/gtest.h>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::FullBox;
using support::Text;
using support::U16;
using support::U32;
using support::operator+;

// Three samples of one byte, and other tables.
Bytes ThreeSamples(const Bytes& others, std::uint32_t offset = 0) {
  return FullBox("stts", 0, 0, {U32(1), U32(3), U32(40)}) +
         FullBox("stsc", 0, 0, {U32(1), U32(1), U32(3), U32(1)}) +
         FullBox("stsz", 0, 0, {U32(1), U32(3)}) + FullBox("stco", 0, 0, {U32(1), U32(100)}) +
         (offset != 0 ? FullBox("ctts", 0, 0, {U32(1), U32(3), U32(offset)}) : Bytes()) + others;
}

FitClip ClipWith(const Bytes& tables) {
  AnnouncedTrack track;
  track.tables = tables;
  FitClip clip("clip.mp4");
  clip.movie = RawBoxOf(AnnouncingMovie({track}));
  return clip;
}

class JoinedTablesTest : public testing::Test {
 protected:
  // The table of the result's one track: that of the first clip with as many samples as both have.
  const RawBox& Join(const Bytes& first, const Bytes& second, const Bytes& merged) {
    FitClips clips;
    clips.push_back(ClipWith(first));
    clips.push_back(ClipWith(second));
    adaptation_ = MakeJoinedTables();
    adaptation_->Adapt(clips, report_);
    result_ = ClipWith(merged).movie;
    adaptation_->Complete(result_);
    return *SampleTable(*TracksOf(result_)[0]);
  }

  std::unique_ptr<Adaptation> adaptation_;
  FitReport report_;
  RawBox result_;
};

TEST_F(JoinedTablesTest, ClipsWithoutSuchTablesGetNoNote) {
  Join(ThreeSamples({}), ThreeSamples({}), ThreeSamples({}));
  EXPECT_TRUE(report_.notes.empty() && report_.problems.empty());
}

TEST_F(JoinedTablesTest, GroupsCoverAllClips) {
  const Bytes groups = FullBox("sgpd", 1, 0, {Text("roll"), U32(2), U32(1), U16(7)}) +
                       FullBox("sbgp", 0, 0, {Text("roll"), U32(1), U32(3), U32(1)});
  const RawBox& table = Join(ThreeSamples(groups), ThreeSamples(groups), ThreeSamples(groups));
  EXPECT_EQ(table.Child(FourCc("sbgp"))->data,
            RawBoxOf(FullBox("sbgp", 0, 0, {Text("roll"), U32(1), U32(6), U32(1)})).data);
  EXPECT_EQ(report_.notes.size(), 2u);
  EXPECT_EQ(report_.notes[0].kind, AdaptationKind::kTables);
  EXPECT_TRUE(report_.problems.empty());
}

TEST_F(JoinedTablesTest, SizesOfManyClipsAreThoseOfTheClips) {
  const auto sized = [](const Bytes& fields) {
    return FullBox("stts", 0, 0, {U32(1), U32(2), U32(40)}) +
           FullBox("stsc", 0, 0, {U32(1), U32(1), U32(2), U32(1)}) +
           FullBox("stsz", 0, 0, {fields}) + FullBox("stco", 0, 0, {U32(1), U32(100)});
  };
  FitClips clips;
  for (const Bytes& fields :
       {U32(6) + U32(2), U32(6) + U32(2), U32(0) + U32(2) + U32(6) + U32(9)}) {
    clips.push_back(ClipWith(sized(fields)));
    clips.back().media = {{100, 30}};
  }
  const auto adaptation = MakeJoinedTables();
  adaptation->Adapt(clips, report_);
  for (const FitClip& clip : clips)
    EXPECT_EQ(ReadSizes(*SampleTable(*TracksOf(clip.movie)[0])->Child(FourCc("stsz"))),
              (SampleSizes{1, 2, {}}));
  adaptation->Complete(clips[0].movie);
  EXPECT_EQ(ReadSizes(*SampleTable(*TracksOf(clips[0].movie)[0])->Child(FourCc("stsz"))),
            (SampleSizes{0, 6, {6, 6, 6, 6, 6, 9}}));
}

TEST_F(JoinedTablesTest, PartialSyncSamplesCountOn) {
  const Bytes partial = FullBox("stps", 0, 0, {U32(1), U32(2)});
  const RawBox& table = Join(ThreeSamples(partial), ThreeSamples(partial), ThreeSamples(partial));
  EXPECT_EQ(ReadSampleNumbers(*table.Child(FourCc("stps"))), (std::vector<std::uint32_t>{2, 5}));
}

TEST_F(JoinedTablesTest, PartialSyncSamplesThatAreNotThereAreLeftOutAndTold) {
  const Bytes last = ThreeSamples(FullBox("stps", 0, 0, {U32(1), U32(3)}));
  EXPECT_NE(Join(last, last, last).Child(FourCc("stps")), nullptr);
  EXPECT_TRUE(report_.problems.empty());
  const Bytes behind = ThreeSamples(FullBox("stps", 0, 0, {U32(1), U32(4)}));
  EXPECT_EQ(Join(behind, last, last).Child(FourCc("stps")), nullptr);
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_EQ(report_.problems[0].kind, FitProblemKind::kTableLost);
}

TEST_F(JoinedTablesTest, BoundsAreThoseOfAllSamples) {
  const Bytes bounds = FullBox("cslg", 0, 0, {U32(50), U32(10), U32(10), U32(10), U32(130)});
  const Bytes merged = FullBox("stts", 0, 0, {U32(1), U32(6), U32(40)}) +
                       FullBox("stsc", 0, 0, {U32(1), U32(1), U32(6), U32(1)}) +
                       FullBox("stsz", 0, 0, {U32(1), U32(6)}) +
                       FullBox("stco", 0, 0, {U32(1), U32(100)}) +
                       FullBox("ctts", 0, 0, {U32(2), U32(3), U32(10), U32(3), U32(20)}) + bounds;
  const RawBox& table = Join(ThreeSamples(bounds, 10), ThreeSamples({}, 20), merged);
  EXPECT_EQ(table.Child(FourCc("cslg"))->data,
            RawBoxOf(FullBox("cslg", 0, 0, {U32(50), U32(10), U32(20), U32(10), U32(260)})).data);
}

TEST_F(JoinedTablesTest, WhatCannotBeJoinedIsLeftOutAndTold) {
  const Bytes priorities = FullBox("stdp", 0, 0, {U16(1), U16(2), U16(3)});
  const RawBox& table = Join(ThreeSamples(priorities), ThreeSamples({}), ThreeSamples(priorities));
  EXPECT_EQ(table.Child(FourCc("stdp")), nullptr);
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_EQ(report_.problems[0].kind, FitProblemKind::kTableLost);
  EXPECT_NE(report_.problems[0].text.find("\"stdp\""), std::string::npos);
  EXPECT_FALSE(report_.Refused());
}

TEST_F(JoinedTablesTest, GroupsThatCannotBeReadAreLeftOutAndTold) {
  const Bytes groups = FullBox("sbgp", 0, 0, {Text("roll"), U32(1), U32(9), U32(1)});
  const RawBox& table = Join(ThreeSamples(groups), ThreeSamples({}), ThreeSamples(groups));
  EXPECT_EQ(table.Child(FourCc("sbgp")), nullptr);
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_NE(report_.problems[0].text.find("\"roll\""), std::string::npos);
}

}  // namespace
}  // namespace clipchain
