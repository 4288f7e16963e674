#include "workflow/evidence/clip_names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using clipchain::AreOfTwoRecordings;
using clipchain::FolderNumber;
using clipchain::IsOfNextRecording;
using clipchain::MayBeGiven;
using clipchain::NamesBehind;
using clipchain::NextName;
using clipchain::NumberOrder;
using clipchain::OrderOfNumbers;
using clipchain::RecordingNameOf;

namespace {

const NextName* Find(const std::vector<NextName>& names, const std::string& name) {
  const auto found = std::find_if(names.begin(), names.end(),
                                  [&](const NextName& next) { return next.name == name; });
  return found != names.end() ? &*found : nullptr;
}

bool Follows(const std::string& name, const std::string& next, unsigned int step = 1) {
  const std::vector<NextName> names = NamesBehind(name, step);
  return Find(names, next) != nullptr;
}

}  // namespace

TEST(ClipNames, RunningNumbersRunOnByOne) {
  EXPECT_TRUE(Follows("MOVI0012.MP4", "MOVI0013.MP4"));
  EXPECT_FALSE(Follows("MOVI0012.MP4", "MOVI0014.MP4"));
  EXPECT_TRUE(Follows("MOVI0012.MP4", "MOVI0014.MP4", 2));
  EXPECT_FALSE(Follows("MOVI0012.MP4", "MOVI0012.MP4"));
  EXPECT_FALSE(Follows("MOVI0012.MP4", "CLIP0013.MP4"));
  EXPECT_TRUE(Follows("9.mp4", "10.mp4"));
  EXPECT_TRUE(Follows("09.mp4", "10.mp4"));
  EXPECT_FALSE(Follows("09.mp4", "010.mp4"));
}

TEST(ClipNames, NumbersBeginAnewBehind9999) {
  EXPECT_TRUE(Follows("DSC_9999.MP4", "DSC_0001.MP4"));
  EXPECT_TRUE(Follows("DSC_9999.MP4", "DSC_0000.MP4"));
  EXPECT_FALSE(Follows("DSC_9999.MP4", "DSC_0002.MP4"));
  EXPECT_TRUE(Follows("DSC09999.MP4", "DSC00001.MP4"));
  EXPECT_TRUE(Follows("DSC_9998.MP4", "DSC_0001.MP4", 2));
  EXPECT_FALSE(Follows("DSC_999.MP4", "DSC_001.MP4"));
}

TEST(ClipNames, ChaptersStandInFrontOfOrBehindTheRecording) {
  const auto front = NamesBehind("GX010034.MP4", 1);
  ASSERT_NE(Find(front, "GX020034.MP4"), nullptr);
  EXPECT_TRUE(Find(front, "GX020034.MP4")->isChapter);
  ASSERT_NE(Find(front, "GX010035.MP4"), nullptr);
  EXPECT_FALSE(Find(front, "GX010035.MP4")->isChapter);
  const auto behind = NamesBehind("0034_01.MP4", 1);
  ASSERT_NE(Find(behind, "0034_02.MP4"), nullptr);
  EXPECT_TRUE(Find(behind, "0034_02.MP4")->isChapter);
  EXPECT_FALSE(Find(behind, "0035_01.MP4")->isChapter);
}

TEST(ClipNames, NameARecordingOfFourDigitsAlone) {
  ASSERT_TRUE(RecordingNameOf("GX020034.MP4"));
  EXPECT_EQ(RecordingNameOf("GX020034.MP4")->chapter, 2u);
  EXPECT_EQ(RecordingNameOf("GX020034.MP4")->recording, 34u);
  ASSERT_TRUE(RecordingNameOf("MOVI0034.MP4"));
  EXPECT_EQ(RecordingNameOf("MOVI0034.MP4")->chapter, 0u);
  EXPECT_EQ(RecordingNameOf("MOVI0034.MP4")->recording, 34u);
  EXPECT_FALSE(RecordingNameOf("MOVI00034.MP4"));
  EXPECT_FALSE(RecordingNameOf("0034_01.MP4"));
}

TEST(ClipNames, AreOfAnotherRecordingAlsoBehindAPhoto) {
  EXPECT_TRUE(IsOfNextRecording("GX010034.MP4", "GX010035.MP4"));
  EXPECT_TRUE(IsOfNextRecording("GX010034.MP4", "GX010036.MP4"));
  EXPECT_FALSE(IsOfNextRecording("GX010034.MP4", "GX010037.MP4"));
  EXPECT_FALSE(IsOfNextRecording("GX010034.MP4", "GX020034.MP4"));
  EXPECT_TRUE(IsOfNextRecording("0034_01.MP4", "0036_01.MP4"));
  EXPECT_FALSE(IsOfNextRecording("0034_01.MP4", "0034_02.MP4"));
}

TEST(ClipNames, PartsOfADateDoNotRun) {
  EXPECT_FALSE(Follows("VID_20240501_101010.mp4", "VID_20240501_101011.mp4"));
  EXPECT_FALSE(Follows("VID_20240501_101010.mp4", "VID_20240502_101010.mp4"));
  EXPECT_FALSE(Follows("2024-05-01 10-10-10.mp4", "2024-05-01 10-10-11.mp4"));
  EXPECT_FALSE(Follows("240501_101010.mp4", "240501_101011.mp4"));
  EXPECT_FALSE(Follows("20240501101010.mp4", "20240501101011.mp4"));
  EXPECT_FALSE(Follows("1714558000.mp4", "1714558001.mp4"));
  EXPECT_TRUE(Follows("20240501_101010_001.mp4", "20240501_101010_002.mp4"));
  EXPECT_TRUE(Follows("20240501_0007.mp4", "20240501_0008.mp4"));
  // No such day.
  EXPECT_TRUE(Follows("20245501.mp4", "20245502.mp4"));
}

TEST(ClipNames, TheOrderOfNumbersIsKnownWhereOneDiffers) {
  EXPECT_EQ(OrderOfNumbers("A0005.MP4", "A0003.MP4"), NumberOrder::kFalls);
  EXPECT_EQ(OrderOfNumbers("A0003.MP4", "A0005.MP4"), NumberOrder::kRises);
  EXPECT_EQ(OrderOfNumbers("A9998.MP4", "A0002.MP4"), NumberOrder::kRises);
  EXPECT_EQ(OrderOfNumbers("A0003.MP4", "B0002.MP4"), NumberOrder::kNone);
  EXPECT_EQ(OrderOfNumbers("A03_02.MP4", "A04_01.MP4"), NumberOrder::kNone);
  EXPECT_EQ(OrderOfNumbers("GX030034.MP4", "GX010035.MP4"), NumberOrder::kNextRecording);
  EXPECT_EQ(OrderOfNumbers("GX030034.MP4", "GX010034.MP4"), NumberOrder::kFalls);
}

TEST(ClipNames, OfTwoRecordingsDifferBesideAChapter) {
  EXPECT_TRUE(AreOfTwoRecordings("GX010034.MP4", "GX010035.MP4"));
  EXPECT_TRUE(AreOfTwoRecordings("GX020034.MP4", "GX010044.MP4"));
  EXPECT_TRUE(AreOfTwoRecordings("0034_02.MP4", "0036_01.MP4"));
  EXPECT_FALSE(AreOfTwoRecordings("GX010034.MP4", "GX020034.MP4"));
  EXPECT_FALSE(AreOfTwoRecordings("0034_01.MP4", "0034_02.MP4"));
  // Numbers of clips.
  EXPECT_FALSE(AreOfTwoRecordings("A0034.MP4", "A0035.MP4"));
  EXPECT_FALSE(AreOfTwoRecordings("A10034.MP4", "A10035.MP4"));
  EXPECT_FALSE(AreOfTwoRecordings("A000034.MP4", "A000035.MP4"));
  EXPECT_FALSE(AreOfTwoRecordings("20240601_101500.MP4", "20240602_101500.MP4"));
}

TEST(ClipNames, MayBeGivenWithFewDigits) {
  EXPECT_TRUE(MayBeGiven("001.mp4"));
  EXPECT_TRUE(MayBeGiven("holiday 7.mp4"));
  EXPECT_FALSE(MayBeGiven("A0001.MP4"));
  EXPECT_FALSE(MayBeGiven("0034_01.MP4"));
  EXPECT_FALSE(MayBeGiven("abc.mp4"));
}

TEST(ClipNames, ACameraNumbersWithTwoDigitsOrMore) {
  EXPECT_TRUE(clipchain::MayBeNumbered("A0001.MP4", "A0003.MP4"));
  EXPECT_TRUE(clipchain::MayBeNumbered("0034_01.MP4", "0034_02.MP4"));
  EXPECT_FALSE(clipchain::MayBeNumbered("A0001 (1).MP4", "A0001 (2).MP4"));
  EXPECT_FALSE(clipchain::MayBeNumbered("A0001.MP4", "B0002.MP4"));
  EXPECT_FALSE(clipchain::MayBeNumbered("20240601_100000.MP4", "20240601_101000.MP4"));
}

TEST(ClipNames, CameraFoldersHaveNumbers) {
  EXPECT_EQ(FolderNumber("100MEDIA"), 100u);
  EXPECT_EQ(FolderNumber("999_0501"), 999u);
  EXPECT_EQ(FolderNumber("100MEDIAS"), 0u);
  EXPECT_EQ(FolderNumber("20240501"), 0u);
  EXPECT_EQ(FolderNumber("DCIM"), 0u);
}

TEST(ClipNames, NamesOfAnyKindAreTaken) {
  EXPECT_TRUE(NamesBehind("", 1).empty());
  EXPECT_TRUE(NamesBehind(".mp4", 1).empty());
  EXPECT_TRUE(NamesBehind("abc", 1).empty());
  EXPECT_FALSE(NamesBehind(std::string(300, '9') + ".mp4", 1).size() > 0);
  EXPECT_LT(NamesBehind(std::string("1a").append(std::string(250, '2')), 1).size(), 8u);
}
