#include "adapt/times/edit_lists.h"

#include <gtest/gtest.h>

#include "adapt/track_sources.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

TrackTimes Edited(TrackSource source, Edits edits) {
  source.edits = std::move(edits);
  const auto times = TimesOf(source);
  EXPECT_TRUE(times.has_value());
  return times.value_or(TrackTimes());
}

TEST(EditLists, ThatDelayAndShowAllAreNoCut) {
  EXPECT_FALSE(IsCut(Edited(Picture(50), {})));
  EXPECT_FALSE(IsCut(Edited(Picture(50), {{2000, 0}})));
  EXPECT_FALSE(IsCut(Edited(Picture(50), {{300, -1}, {2000, 0}})));
  EXPECT_FALSE(IsCut(Edited(PictureWithLaterOnes(), {{160, 1024}})));
}

TEST(EditLists, ThatHideAPictureAreCut) {
  EXPECT_TRUE(IsCut(Edited(Picture(50), {{1960, 512}})));
  EXPECT_TRUE(IsCut(Edited(Picture(50), {{1960, 0}})));
  EXPECT_TRUE(IsCut(Edited(PictureWithLaterOnes(), {{120, 1536}})));
  // A part of one is shown longer by less than a picture.
  EXPECT_FALSE(IsCut(Edited(Picture(50), {{1970, 300}})));
}

// It would stand still inside the result, and the sound wait for it.
TEST(EditLists, ThatHideHowLongTheLastPictureIsHeldAreCut) {
  TrackSource source = Picture(49);
  source.entryType = FourCc("avc1");
  source.times.push_back({1, 51200});
  const TrackTimes held = Edited(source, {{2000, 0}});
  EXPECT_TRUE(IsCut(held));
  EXPECT_EQ(CutWords(held),
            "hides a part of a sample (3.960 s) at the end of its track 1 (avc1) by an edit list, "
            "and a merge would show it again");
  EXPECT_FALSE(IsCut(Edited(source, {{5960, 0}})));
  EXPECT_FALSE(IsCut(Edited(source, {{5870, 0}})));
  source.kind = MediaKind::kOther;
  EXPECT_FALSE(IsCut(Edited(source, {{2000, 0}})));
}

TEST(EditLists, ThatAreNotPlainAreCut) {
  EXPECT_TRUE(IsCut(Edited(Picture(50), {{500, -1}})));
  EXPECT_TRUE(IsCut(Edited(Picture(50), {{1000, 0}, {500, 19200}})));
  EXPECT_TRUE(IsCut(Edited(Picture(50), {{2000, 0, 0}})));
  EXPECT_TRUE(IsCut(Edited(Picture(50), {{2000, 0, 0x20000}})));
}

TEST(EditLists, MayHideWhatFillsUpTheFramesOfSound) {
  EXPECT_FALSE(IsCut(Edited(Sound(94), {{1961, 2112}})));
  EXPECT_FALSE(IsCut(Edited(Sound(94), {{1925, 3840}})));
  EXPECT_FALSE(IsCut(Edited(Sound(94), {{1942, 0}})));
  EXPECT_TRUE(IsCut(Edited(Sound(94), {{1900, 4096}})));
  EXPECT_TRUE(IsCut(Edited(Sound(94), {{1900, 0}})));
}

TEST(EditLists, HideNothingOfSoundWithoutFrames) {
  TrackSource source = Sound(0);
  source.times = {{96000, 1}};
  EXPECT_FALSE(IsCut(Edited(source, {{1995, 240}})));
  EXPECT_TRUE(IsCut(Edited(source, {{1980, 960}})));
}

TEST(EditLists, SayWhatWouldComeBack) {
  TrackSource source = Picture(90);
  source.entryType = FourCc("avc1");
  EXPECT_EQ(CutWords(Edited(source, {{1520, 18944}})),
            "hides 37 samples (1.480 s) at the start and 15 samples (0.600 s) at the end of its "
            "track 1 (avc1) by an edit list, and a merge would show it again");
  EXPECT_EQ(CutWords(Edited(source, {{3560, 512}})),
            "hides 1 sample (0.040 s) at the start of its track 1 (avc1) by an edit list, and a "
            "merge would show it again");
  EXPECT_EQ(CutWords(Edited(Picture(50), {{1960, 0}})),
            "hides 1 sample (0.040 s) at the end of its track 1 by an edit list, and a merge would "
            "show it again");
  const std::string again = ", and a merge would show all of it once, from its start to its end";
  EXPECT_EQ(CutWords(Edited(source, {{500, -1}})),
            "shows nothing of its track 1 (avc1) by its edit list" + again);
  EXPECT_EQ(CutWords(Edited(source, {{1000, 0}, {500, 19200}})),
            "shows its track 1 (avc1) in several parts by its edit list" + again);
  EXPECT_EQ(CutWords(Edited(source, {{2000, 0, 0}})),
            "stands still in its track 1 (avc1) by its edit list" + again);
  EXPECT_EQ(CutWords(Edited(source, {{2000, 0, 0x20000}})),
            "plays its track 1 (avc1) at another speed by its edit list" + again);
}

TEST(EditLists, MayBeginWithinTheFirstSampleOfData) {
  TrackSource source = Picture(3);
  source.kind = MediaKind::kOther;
  source.times = {{3, 12800}};
  EXPECT_FALSE(IsCut(Edited(source, {{2001, 12799}})));
  EXPECT_TRUE(IsCut(Edited(source, {{2000, 0}})));
}

TEST(MergedEdits, CarryTheFirstClipsStartToTheEnd) {
  EXPECT_EQ(MergedEdits(Edited(Picture(50), {}), 51200), Edits());
  EXPECT_EQ(MergedEdits(Edited(Picture(50), {{2000, 1024}}), 52225), (Edits{{4001, 1024}}));
  EXPECT_EQ(MergedEdits(Edited(Sound(94), {{100, -1}, {200, -1}, {1984, 1024}}), 193536),
            (Edits{{300, -1}, {4011, 1024}}));
  EXPECT_EQ(MergedEdits(Edited(Picture(50), {{2000, 1024}}), 512), (Edits{{0, 1024}}));
}

}  // namespace
}  // namespace clipchain
