#include "workflow/evidence/recordings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/bytes.h"
#include "support/temp_dir.h"
#include "workflow/evidence/said_clips.h"

using clipchain::ClipSays;
using clipchain::EvidenceUnit;
using clipchain::Grade;
using clipchain::ProposalsOf;
using clipchain::ProposeChains;
using clipchain::ProposedFrom;
using clipchain::ThreeOfOneTime;

namespace {

const std::string kOne(16, '\x01');
std::string Value(char c) { return std::string(15, c) + '\xff'; }

// The clips as files below the folder, of zeros that take no disk.
std::vector<ClipSays> OnDisk(const support::TempDir& folder, std::vector<ClipSays> clips) {
  for (ClipSays& clip : clips) {
    const std::filesystem::path path = folder / clip.path;
    std::filesystem::create_directories(path.parent_path());
    support::WriteFile(path, {});
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(clip.size));
    clip.path = path.string();
  }
  return clips;
}

}  // namespace

TEST(Recordings, NumbersAloneArePossible) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").For(60), ClipSays("c/A0002.MP4").For(60),
                          ClipSays("c/A0003.MP4").For(20)}),
            "possible: A0001.MP4 A0002.MP4 A0003.MP4");
}

TEST(Recordings, TheWeakestLinkGivesTheGrade) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60).Timecode(500, 1800),
                          ClipSays("c/A0002.MP4").At(60).For(60).Timecode(2300, 1800),
                          ClipSays("c/A0003.MP4").At(120).For(20)}),
            "likely: A0001.MP4 A0002.MP4 A0003.MP4");
}

TEST(Recordings, AnIdentityMakesNumbersCertain) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/A0002.MP4").For(20).Value("udta/ABCD", Value('a')),
                          ClipSays("c/A0003.MP4").For(60).Value("udta/ABCD", Value('b')),
                          ClipSays("c/A0004.MP4").For(20).Value("udta/ABCD", Value('b'))}),
            "certain: A0001.MP4 A0002.MP4\ncertain: A0003.MP4 A0004.MP4");
}

TEST(Recordings, AValueThatIsEqualEverywhereIdentifiesNothing) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/A0002.MP4").For(20).Value("udta/ABCD", Value('a'))}),
            "possible: A0001.MP4 A0002.MP4");
}

TEST(Recordings, AnIdentityThatFormsOthersSeparates) {
  // Fixed lengths, begun again at once: nothing else tells them apart.
  EXPECT_EQ(ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/xb.MP4").At(60).For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/ya.MP4").At(121).For(60).Value("udta/ABCD", Value('b')),
                          ClipSays("c/yb.MP4").At(181).For(20).Value("udta/ABCD", Value('b'))}),
            "certain: xa.MP4 xb.MP4\ncertain: ya.MP4 yb.MP4");
}

TEST(Recordings, NumbersThatSomebodyGaveMakeNoIdentityCertain) {
  // Clips of both recordings lie between each other.
  EXPECT_EQ(ProposedFrom({ClipSays("c/001.MP4").For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/002.MP4").For(60).Value("udta/ABCD", Value('b')),
                          ClipSays("c/003.MP4").For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/004.MP4").For(20).Value("udta/ABCD", Value('b')),
                          ClipSays("c/005.MP4").For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/006.MP4").For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/007.MP4").For(20).Value("udta/ABCD", Value('a'))}),
            "possible: 001.MP4 002.MP4 003.MP4 004.MP4\npossible: 005.MP4 006.MP4 007.MP4");
}

TEST(Recordings, FilesThatWereWrittenInAnotherOrderHaveNoNumbers) {
  const auto three = [](double a, double b, double c) {
    return ProposedFrom(
        {ClipSays("c/A0001.MP4").For(60).Value("udta/ABCD", Value('a')).Written(a),
         ClipSays("c/A0002.MP4").For(60).Value("udta/ABCD", Value('a')).Written(b),
         ClipSays("c/A0003.MP4").For(20).Value("udta/ABCD", Value('a')).Written(c),
         ClipSays("c/A0099.MP4").For(20).Value("udta/ABCD", Value('b')).Written(9e5)});
  };
  EXPECT_EQ(three(60, 120, 140), "certain: A0001.MP4 A0002.MP4 A0003.MP4");
  // Copied, in whatever order.
  EXPECT_EQ(three(500, 499, 498), "certain: A0001.MP4 A0002.MP4 A0003.MP4");
  EXPECT_EQ(three(120, 60, 140), "incomplete certain: A0002.MP4 A0003.MP4");
}

TEST(Recordings, ThatSomebodyNumberedAreFoundByTheTimesOfFiles) {
  const auto clip = [](const char* name, std::int64_t at, double length, std::int64_t code) {
    return ClipSays(name).At(at).For(length).Timecode(code, static_cast<std::int64_t>(length * 30));
  };
  // One time and one timecode to begin with for all clips of a recording.
  const auto four = [&](double a, double b, double c, double d, double e) {
    return ProposedFrom(
        {clip("c/001.MP4", 1020, 300, 0).Written(a), clip("c/002.MP4", 0, 300, 9000).Written(b),
         clip("c/003.MP4", 0, 300, 0).Written(c), clip("c/004.MP4", 1500, 262, 0).Written(d),
         clip("c/005.MP4", 9000, 17, 0).Written(e)});
  };
  EXPECT_EQ(four(2000, 1000, 600, 5000, 4000), "certain: 003.MP4 002.MP4");
}

TEST(Recordings, OfOneTimeHaveNoOrderThatTheTimesOfFilesContradict) {
  EXPECT_EQ(ThreeOfOneTime(60, 120, 140), "likely: A0001.MP4 A0002.MP4 A0003.MP4");
  EXPECT_EQ(ThreeOfOneTime(120, 60, 140), "incomplete likely: A0001.MP4 A0003.MP4");
}

TEST(Recordings, OfASeriesStayInItWhereAnotherOneWasRecordedBesideIt) {
  // Of each side the clip is lost that the other side has.
  EXPECT_EQ(
      ProposedFrom(
          {ClipSays("c/1_0001F.MP4").At(0).For(60), ClipSays("c/1_0002R.MP4").At(60).For(60),
           ClipSays("c/7_0007F.MP4").At(900).For(33), ClipSays("c/7_0007R.MP4").At(900).For(33)}),
      "");
  EXPECT_EQ(
      ProposedFrom(
          {ClipSays("c/1_0001F.MP4").At(0).For(60), ClipSays("c/1_0002F.MP4").At(60).For(60),
           ClipSays("c/7_0007F.MP4").At(900).For(33), ClipSays("c/7_0007R.MP4").At(900).For(33)}),
      "likely: 1_0001F.MP4 1_0002F.MP4");
}

TEST(Recordings, AClipThatShouldFollowByItsIdentityIsMissed) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/A0002.MP4").At(60).For(60).Value("udta/ABCD", Value('a')),
                          ClipSays("c/A0009.MP4").At(540).For(20).Value("udta/ABCD", Value('a')),
                          ClipSays("c/A0010.MP4").At(9000).For(20).Value("udta/ABCD", Value('b'))}),
            "incomplete certain: A0001.MP4 A0002.MP4");
}

TEST(Recordings, WhoseChaptersAreCountedHaveNoHoleBetweenThem) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/GX010034.MP4").At(0).For(60),
                          ClipSays("c/GX010036.MP4").At(0).For(60),
                          ClipSays("c/GX020036.MP4").At(0).For(17)}),
            "likely: GX010036.MP4 GX020036.MP4");
}

TEST(Recordings, AHoleNeedsTheGapAndTheNumber) {
  const auto three = [](const char* last, std::int64_t time) {
    return ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60),
                         ClipSays("c/A0002.MP4").At(60).For(60), ClipSays(last).At(time).For(20)});
  };
  EXPECT_EQ(three("c/A0004.MP4", 180), "incomplete likely: A0001.MP4 A0002.MP4 A0004.MP4");
  EXPECT_EQ(three("c/A0004.MP4", 182), "incomplete likely: A0001.MP4 A0002.MP4 A0004.MP4");
  EXPECT_EQ(three("c/A0004.MP4", 183), "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(three("c/A0003.MP4", 180), "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(three("c/A0005.MP4", 180), "likely: A0001.MP4 A0002.MP4");
  // A photo took the number.
  EXPECT_EQ(three("c/A0004.MP4", 120), "likely: A0001.MP4 A0002.MP4 A0004.MP4");
}

TEST(Recordings, NumbersThatFallDisagree) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0005.MP4").At(0).For(60), ClipSays("c/A0003.MP4").At(60).For(20)}),
      "");
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A9999.MP4").At(0).For(60), ClipSays("c/A0001.MP4").At(60).For(20)}),
      "likely: A9999.MP4 A0001.MP4");
}

TEST(Recordings, AClipInBetweenDisagrees) {
  // Clips that run on for longer than they were recorded may end where another one begins.
  EXPECT_EQ(ProposedFrom(
                {ClipSays("c/A0001.MP4").At(0).For(120), ClipSays("c/A0002.MP4").At(40).For(30),
                 ClipSays("c/A0004.MP4").At(120).For(20), ClipSays("c/B0001.MP4").At(9000).For(120),
                 ClipSays("c/B0002.MP4").At(9120).For(20)}),
            "likely: B0001.MP4 B0002.MP4");
}

TEST(Recordings, OfTheirOwnNumbersAreNotOneWhereChaptersAreCounted) {
  // The first one was stopped at the limit, and the next one begun at once.
  EXPECT_EQ(ProposedFrom({ClipSays("c/V0001_01.MP4").At(0).For(60),
                          ClipSays("c/V0002_01.MP4").At(61).For(60),
                          ClipSays("c/V0002_02.MP4").At(121).For(20)}),
            "likely: V0002_01.MP4 V0002_02.MP4");
  EXPECT_EQ(ProposedFrom({ClipSays("c/GX010034.MP4").At(0).For(60),
                          ClipSays("c/GX010035.MP4").At(61).For(60),
                          ClipSays("c/GX020035.MP4").At(121).For(20)}),
            "likely: GX010035.MP4 GX020035.MP4");
}

TEST(Recordings, RunOnFromOneFolderToTheNext) {
  EXPECT_EQ(ProposedFrom({ClipSays("c/DCIM/100MEDIA/A0999.MP4").For(60),
                          ClipSays("c/DCIM/101MEDIA/A1000.MP4").For(20)}),
            "possible: A0999.MP4 A1000.MP4");
  EXPECT_EQ(ProposedFrom({ClipSays("c/DCIM/100MEDIA/A0999.MP4").For(60),
                          ClipSays("c/DCIM/102MEDIA/A1000.MP4").For(20)}),
            "");
}

TEST(Recordings, OfCopiesOneIsProposedFromTheFolderOfTheOthers) {
  ClipSays copy = ClipSays("backup/A0002.MP4").At(60).For(60);
  const ClipSays original = ClipSays("c/A0002.MP4").At(60).For(60);
  copy.movieDigest = original.movieDigest;
  copy.size = original.size;
  const support::TempDir folder;
  const auto found =
      ProposalsOf(OnDisk(folder, {copy, ClipSays("c/A0001.MP4").At(0).For(60), original,
                                  ClipSays("c/A0003.MP4").At(120).For(20)}));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].units, (std::vector<std::size_t>{1, 2, 3}));
}

TEST(Recordings, TwoClipsThatFollowEquallyWellLeaveItOpen) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/xa.MP4").At(0).For(60), ClipSays("c/xb.MP4").At(60).For(60),
                    ClipSays("c/xc.MP4").At(120).For(20), ClipSays("c/yc.MP4").At(121).For(30)}),
      "incomplete likely: xa.MP4 xb.MP4");
}

TEST(Recordings, StayOpenWhereSeveralClipsOfOneTimeMayFollow) {
  // Two recordings of one clock, which was set back in between.
  const auto two = [](std::int64_t last) {
    const long long full = 3'960'000'000;
    return ProposedFrom({ClipSays("c/xa.MP4").At(0).For(600).Bytes(full),
                         ClipSays("c/ya.MP4").At(37).For(590.2).Bytes(full + 1),
                         ClipSays("c/xb.MP4").At(600).For(600).Bytes(full + 2),
                         ClipSays("c/yb.MP4").At(627).For(573).Bytes(full + 3),
                         ClipSays("c/xc.MP4").At(last).For(20),
                         ClipSays("c/yc.MP4").At(last).For(30)});
  };
  EXPECT_EQ(two(1200), "incomplete likely: xa.MP4 xb.MP4\nincomplete likely: ya.MP4 yb.MP4");
  EXPECT_EQ(two(1202), "incomplete likely: xa.MP4 xb.MP4\nincomplete likely: ya.MP4 yb.MP4");
  EXPECT_EQ(two(1203), "likely: xa.MP4 xb.MP4\nlikely: ya.MP4 yb.MP4");
}

TEST(Recordings, TwoCamerasAtOnceAreToldApartByTheirNumbers) {
  EXPECT_EQ(ProposedFrom(
                {ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/B0101.MP4").At(0).For(60),
                 ClipSays("c/A0002.MP4").At(60).For(60), ClipSays("c/B0102.MP4").At(60).For(60),
                 ClipSays("c/A0003.MP4").At(120).For(20), ClipSays("c/B0103.MP4").At(120).For(30)}),
            "likely: A0001.MP4 A0002.MP4 A0003.MP4\nlikely: B0101.MP4 B0102.MP4 B0103.MP4");
}

TEST(Recordings, PicturesOfATimeLapseAreNone) {
  std::vector<ClipSays> clips;
  for (int i = 0; i < 20; ++i) {
    clips.push_back(ClipSays("c/A00" + std::to_string(10 + i) + ".MP4").At(i * 2).For(1 / 30.0));
    clips.back().isPicture = true;
  }
  EXPECT_EQ(ProposedFrom(clips), "");
}

TEST(Recordings, OpenSequencesAreExtendedAndStayIncompleteWhereTheyAreOpen) {
  const auto unit = [](const ClipSays& clip) { return EvidenceUnit{{clip}}; };
  EvidenceUnit sequence{
      {ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(60).For(60)}};
  sequence.identified = true;
  sequence.openAtHead = false;
  sequence.openAtTail = true;
  const EvidenceUnit last = unit(ClipSays("c/A0003.MP4").At(120).For(20));
  const auto found = ProposeChains({sequence, last});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_TRUE(found[0].complete);
  EXPECT_EQ(found[0].units, (std::vector<std::size_t>{0, 1}));
  sequence.openAtHead = true;
  EXPECT_FALSE(ProposeChains({sequence, last}).at(0).complete);
  sequence.openAtTail = false;
  EXPECT_TRUE(ProposeChains({sequence, last}).empty());
}

TEST(Recordings, TwoIdentifiedSequencesAreNeverLinked) {
  EvidenceUnit first{{ClipSays("c/A0001.MP4").At(0).For(60)}};
  EvidenceUnit second{{ClipSays("c/A0002.MP4").At(60).For(20)}};
  first.identified = second.identified = true;
  EXPECT_TRUE(ProposeChains({first, second}).empty());
}

TEST(Recordings, SayWhatTheyRestOn) {
  const auto found = ProposalsOf(
      {ClipSays("c/MOVI0012.MP4").At(0).For(59.984), ClipSays("c/MOVI0013.MP4").At(60).For(20)});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].grade, Grade::kLikely);
  ASSERT_EQ(found[0].evidence.size(), 8u);
  EXPECT_EQ(found[0].evidence[2].text, "MOVI0013.MP4 begins 0.0 s after MOVI0012.MP4 ends");
  EXPECT_EQ(found[0].evidence[2].agrees, true);
  EXPECT_EQ(found[0].evidence[1].agrees, std::nullopt);
  EXPECT_EQ(found[0].evidence[4].text, "MOVI0013.MP4 has the number behind MOVI0012.MP4");
}

// Were each compared with all others, no one would wait for it.
TEST(Recordings, TenThousandClipsAreNoTrouble) {
  std::vector<EvidenceUnit> units;
  for (int i = 0; i < 10'000; ++i) {
    const std::string number = std::to_string(100'000 + i).substr(1);
    units.push_back({{ClipSays("c/A" + number + ".MP4").At(i * 60).For(i % 7 == 6 ? 31 : 60)}});
  }
  const auto found = ProposeChains(units);
  EXPECT_EQ(1429u, found.size());
}

TEST(Recordings, TenThousandClipsOfOneTimeAreNoTrouble) {
  std::vector<ClipSays> clips;
  for (int i = 0; i < 9'999; ++i)
    clips.push_back(ClipSays("c/A" + std::to_string(10'000 + i) + ".MP4").At(0).For(60));
  clips.back().For(17);
  const auto found = ProposalsOf(clips);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].grade, Grade::kPossible);
}

TEST(Recordings, TenThousandClipsOfOneTimeAndOneOfAnotherAreNoTrouble) {
  std::vector<ClipSays> clips;
  for (int i = 0; i < 9'999; ++i)
    clips.push_back(ClipSays("c/A" + std::to_string(10'000 + i) + ".MP4").At(0).For(60));
  clips.push_back(ClipSays("c/A30000.MP4").At(90'000).For(17));
  EXPECT_EQ(ProposalsOf(clips).size(), 1u);
}

TEST(Recordings, TheCopyOnTheCardOfTheOthersCounts) {
  // The first card that is given has a copy of one clip alone.
  ClipSays copy = ClipSays("c/backup/A0002.MP4").At(532).For(532.4);
  ClipSays original = ClipSays("d/A0002.MP4").At(532).For(532.4).On(1);
  copy.movieDigest = original.movieDigest;
  original.size = copy.size;
  const support::TempDir folder;
  const auto found =
      ProposalsOf(OnDisk(folder, {copy, ClipSays("d/A0001.MP4").At(0).For(532.4).On(1), original,
                                  ClipSays("d/A0003.MP4").At(1064).For(20).On(1)}));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_TRUE(found[0].complete);
  EXPECT_EQ(found[0].units, (std::vector<std::size_t>{1, 2, 3}));
}

namespace {

// Chapters of one time, length and size, so that their movie boxes are equal.
std::vector<ClipSays> EqualChapters(const std::vector<const char*>& names) {
  std::vector<ClipSays> clips;
  for (const char* name : names) {
    clips.push_back(ClipSays(name).At(0).For(60).Bytes(90'000'000));
    clips.back().movieDigest = clips.front().movieDigest;
  }
  return clips;
}

}  // namespace

TEST(Recordings, TheCopyWithANameAsTheOthersHaveCounts) {
  std::vector<ClipSays> clips{
      ClipSays("c/A0001.MP4").At(0).For(60),        ClipSays("c/A0002.MP4").At(0).For(60),
      ClipSays("c/A0003.MP4").At(0).For(60),        ClipSays("c/A0004.MP4").At(0).For(17),
      ClipSays("c/A0005.MP4").At(900).For(17),      ClipSays("c/copy of A0002.MP4").At(0).For(60),
      ClipSays("c/copy of A0003.MP4").At(0).For(60)};
  for (const std::size_t copy : {std::size_t{5}, std::size_t{6}}) {
    clips[copy].size = clips[copy - 4].size;
    clips[copy].movieDigest = clips[copy - 4].movieDigest;
  }
  const support::TempDir folder;
  clips = OnDisk(folder, std::move(clips));
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0002.MP4 A0003.MP4 A0004.MP4");
  std::reverse(clips.begin(), clips.end());
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0002.MP4 A0003.MP4 A0004.MP4");
}

TEST(Recordings, EqualClipsThatACameraNumberedAreNoCopies) {
  const support::TempDir folder;
  auto clips = EqualChapters({"c/A0001.MP4", "c/A0002.MP4", "c/A0003.MP4", "b/A0002.MP4"});
  clips.push_back(ClipSays("c/A0004.MP4").At(0).For(17));
  EXPECT_EQ(ProposedFrom(OnDisk(folder, clips)), "likely: A0001.MP4 A0002.MP4 A0003.MP4 A0004.MP4");
  // First chapters may be named by other letters, and are no copy of the second one.
  clips = EqualChapters({"c/ABXY7914.MP4", "c/AB017914.MP4"});
  clips.push_back(ClipSays("c/AB027914.MP4").At(0).For(17));
  clips.push_back(ClipSays("c/ABXY7915.MP4").At(9000).For(20));
  EXPECT_EQ(ProposedFrom(OnDisk(folder, clips)), "incomplete likely: AB017914.MP4 AB027914.MP4");
  // A system counts copies otherwise.
  clips = EqualChapters({"c/A0001.MP4", "c/A0001 (1).MP4", "c/A0001 (2).MP4"});
  clips.push_back(ClipSays("c/A0002.MP4").At(0).For(17));
  EXPECT_EQ(ProposedFrom(OnDisk(folder, clips)), "likely: A0001.MP4 A0002.MP4");
}

TEST(Recordings, CopiesOfOtherNamesDoNotStandForThoseOfCameraFolders) {
  // More of them lie beside each other than in any one of the camera's folders.
  std::vector<ClipSays> clips{ClipSays("c/DCIM/100MEDIA/A0001.MP4").At(0).For(60),
                              ClipSays("c/DCIM/101MEDIA/A0002.MP4").At(0).For(60),
                              ClipSays("c/DCIM/102MEDIA/A0003.MP4").At(0).For(60),
                              ClipSays("c/DCIM/102MEDIA/A0004.MP4").At(0).For(17),
                              ClipSays("c/backup/copy of A0002.MP4").At(0).For(60),
                              ClipSays("c/backup/copy of A0003.MP4").At(0).For(60)};
  for (const std::size_t copy : {std::size_t{4}, std::size_t{5}}) {
    clips[copy].size = clips[copy - 3].size;
    clips[copy].movieDigest = clips[copy - 3].movieDigest;
  }
  const support::TempDir folder;
  const auto found = ProposalsOf(OnDisk(folder, std::move(clips)));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].grade, Grade::kLikely);
  EXPECT_EQ(found[0].units.size(), 4u);
}

// What nobody has seen leaves no clip out of its recording.
TEST(Recordings, EqualClipsWhoseMediaCannotBeReadAreNoCopies) {
  const support::TempDir folder;
  const support::Bytes media(90'000, 7);
  std::vector<ClipSays> clips;
  for (const char* name : {"A0001.MP4", "A0002.MP4"}) {
    support::WriteFile(folder / name, media);
    clips.push_back(ClipSays((folder / name).string()).At(0).For(60).Bytes(90'000));
    clips.back().movieDigest = clips.front().movieDigest;
  }
  clips.push_back(ClipSays((folder / "A0003.MP4").string()).At(0).For(17));
  clips.push_back(ClipSays((folder / "A0004.MP4").string()).At(900).For(17));
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0003.MP4");
  // Nothing but its movie box can be read; then not even that.
  std::filesystem::resize_file(clips[1].path, 70'000);
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0002.MP4 A0003.MP4");
  std::filesystem::remove(clips[0].path);
  std::filesystem::remove(clips[1].path);
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0002.MP4 A0003.MP4");
}

TEST(Recordings, EqualClipsOfOtherTimecodesAreNoCopies) {
  auto clips = EqualChapters({"c/xa.MP4", "c/xb.MP4"});
  clips[0].Timecode(500, 1800);
  clips[1].Timecode(2300, 1800);
  clips.push_back(ClipSays("c/xc.MP4").At(0).For(17).Timecode(4100, 510));
  EXPECT_EQ(ProposedFrom(clips), "certain: xa.MP4 xb.MP4 xc.MP4");
}

TEST(Recordings, WithTheSameMediaEqualClipsAreCopiesWhateverTheirNumbers) {
  const support::TempDir folder;
  const auto put = [&](const char* name, unsigned char media) {
    const std::string path = (folder / name).string();
    support::WriteFile(path, support::Bytes(90'000, media));
    return ClipSays(path).At(0).For(60).Bytes(90'000);
  };
  std::vector<ClipSays> clips{put("A0001.MP4", 7), put("A0002.MP4", 7), put("A0003.MP4", 8)};
  for (ClipSays& clip : clips) clip.movieDigest = clips.front().movieDigest;
  clips.push_back(ClipSays((folder / "A0004.MP4").string()).At(0).For(17));
  clips.push_back(ClipSays((folder / "A0005.MP4").string()).At(900).For(17));
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0003.MP4 A0004.MP4");
}

// The one whose clock was not set begins elsewhere.
TEST(Recordings, OfASetClockAreWholeWhateverAClipWithoutOneDoes) {
  const ClipSays first = ClipSays("c/A0001.MP4").At(0).For(60);
  const ClipSays last = ClipSays("c/A0002.MP4").At(60).For(17);
  constexpr std::uint64_t kIn1970 = 24107ULL * 86400 + 5;
  EXPECT_EQ(ProposedFrom({first, last, ClipSays("c/xyz.MP4").Created(kIn1970).For(60)}),
            "likely: A0001.MP4 A0002.MP4");
  EXPECT_EQ(ProposedFrom({first, last, ClipSays("c/xyz.MP4").Created(~std::uint64_t{0}).For(60)}),
            "likely: A0001.MP4 A0002.MP4");
  // Within the first hour of a year, and behind it.
  const std::uint64_t year = (24107ULL + 16436) * 86400;
  EXPECT_EQ(ProposedFrom({ClipSays("c/abc.MP4").Created(year + 3570).For(60),
                          ClipSays("c/A0001.MP4").Created(year + 3630).For(60),
                          ClipSays("c/A0002.MP4").Created(year + 3690).For(17)}),
            "incomplete likely: A0001.MP4 A0002.MP4");
}

// Nothing but what a file begins with tells chapters of one length apart, in folders that follow
// one another.
TEST(Recordings, EqualClipsOfOtherMediaAreNoCopies) {
  const support::TempDir folder;
  const auto put = [&](const std::string& name, unsigned char media) {
    const std::string path = (folder / name).string();
    support::Bytes bytes(90'000);
    bytes[100] = media;
    std::filesystem::create_directories((folder / name).parent_path());
    support::WriteFile(path, bytes);
    return ClipSays(path).At(0).For(60).Bytes(90'000);
  };
  std::vector<ClipSays> clips{put("100MEDIA/A0001.MP4", 1), put("101MEDIA/A0002.MP4", 2),
                              put("102MEDIA/A0001.MP4", 1)};
  for (ClipSays& clip : clips) clip.movieDigest = clips.front().movieDigest;
  clips.push_back(ClipSays((folder / "101MEDIA" / "A0003.MP4").string()).At(0).For(17));
  clips.push_back(ClipSays((folder / "101MEDIA" / "A0004.MP4").string()).At(900).For(17));
  EXPECT_EQ(ProposedFrom(clips), "likely: A0001.MP4 A0002.MP4 A0003.MP4");
}

// Without any other chapter nobody knows which number is that of the recording.
TEST(Recordings, WhoseNameMayCountChaptersHaveNoNumbers) {
  const auto two = [](const std::string& a, const std::string& b) {
    return ProposedFrom({ClipSays("c/" + a).For(60), ClipSays("c/" + b).For(17)});
  };
  EXPECT_EQ(two("V5023_01.MP4", "V5024_01.MP4"), "");
  EXPECT_EQ(two("AB015023.MP4", "AB015024.MP4"), "");
  EXPECT_EQ(two("V5023_01.MP4", "V5023_02.MP4"), "possible: V5023_01.MP4 V5023_02.MP4");
  EXPECT_EQ(two("AB005023.MP4", "AB005024.MP4"), "possible: AB005023.MP4 AB005024.MP4");
  EXPECT_EQ(two("V15023.MP4", "V15024.MP4"), "possible: V15023.MP4 V15024.MP4");
}

TEST(Recordings, ThatEndAtALimitAreWhole) {
  EXPECT_EQ(
      ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60), ClipSays("c/A0002.MP4").At(0).For(60),
                    ClipSays("c/A0009.MP4").At(900).For(31)}),
      "likely: A0001.MP4 A0002.MP4");
}
