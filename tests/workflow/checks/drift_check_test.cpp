// What a check says about picture and sound that run apart.
#include "workflow/checks/check_fixture.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using clipchain::Severity;
using support::MovieBuilder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class CheckDrift : public support::CheckTest {
 protected:
  // A clip whose sound has that many ticks of 48 kHz more than its picture.
  std::string ClipWith(const std::string& name, int more) {
    MovieBuilder clip = EvenClip();
    support::Track& sound = clip.tracks[1];
    const auto last = static_cast<std::uint32_t>(1024 + more);
    sound.stts = {{74, 1024}, {1, last}};
    sound.mediaDuration = 74 * 1024 + last;
    return Put(name, clip);
  }
  static std::vector<double> SeamsOf(const CheckReport& report) {
    std::vector<double> milliseconds;
    for (const clipchain::Seam& seam : report.seams) milliseconds.push_back(seam.milliseconds);
    return milliseconds;
  }
};

constexpr int kMillisecond = 48;  // in ticks

}  // namespace

TEST_F(CheckDrift, AddsUpOverTheClips) {
  const CheckReport report =
      CheckAll({ClipWith("a", 5 * kMillisecond), ClipWith("b", -2 * kMillisecond),
                ClipWith("c", kMillisecond)});
  EXPECT_THAT(SeamsOf(report), ElementsAre(5, 3, 4));
  EXPECT_THAT(NamesOf(report), IsEmpty());
}

TEST_F(CheckDrift, WarnsAboveFortyMilliseconds) {
  const std::string good = ClipWith("good", 0);
  EXPECT_THAT(NamesOf(CheckAll({ClipWith("at", 40 * kMillisecond), good})), IsEmpty());
  const CheckReport report = CheckAll({ClipWith("above", 40 * kMillisecond + 1), good});
  const Finding finding = Only(report, Message::kTrackDrift);
  EXPECT_EQ(Severity::kWarning, finding.severity);
  EXPECT_EQ(good, finding.path);
  EXPECT_EQ(2u, finding.track);
  EXPECT_EQ("would begin with track 2 (mp4a) 40.0 ms behind track 1 (avc1)", finding.text);
  EXPECT_THAT(finding.remedy, HasSubstr("without --seams=as-they-are"));
}

TEST_F(CheckDrift, IsAProblemAboveEightyMilliseconds) {
  const std::string good = ClipWith("good", 0);
  EXPECT_EQ(Severity::kWarning,
            Only(CheckAll({ClipWith("at", -20 * kMillisecond), ClipWith("more", -20 * kMillisecond),
                           ClipWith("and more", -20 * kMillisecond),
                           ClipWith("still more", -20 * kMillisecond), good}),
                 Message::kTrackDrift)
                .severity);
  const CheckReport report = CheckAll({ClipWith("above", 80 * kMillisecond + 1), good});
  EXPECT_EQ(Severity::kRisk, Only(report, Message::kTrackDrift).severity);
  EXPECT_TRUE(clipchain::HoldsUp(report.findings, false));
}

TEST_F(CheckDrift, IsToldOnceWithItsGrowth) {
  std::vector<std::string> clips;
  for (int i = 0; i < 10; ++i) clips.push_back(ClipWith(std::to_string(i), 30 * kMillisecond));
  const Finding finding = Only(CheckAll(clips), Message::kTrackDrift);
  EXPECT_EQ(clips[3], finding.path);
  EXPECT_EQ(
      "would begin with track 2 (mp4a) 90.0 ms behind track 1 (avc1), which grows to 270.0 ms by "
      "clip 10",
      finding.text);
}

TEST_F(CheckDrift, AtTheEndIsWhatExceedsThatOfTheFirstClip) {
  const std::string first = ClipWith("first", 30 * kMillisecond);
  EXPECT_THAT(NamesOf(CheckAll({first, ClipWith("at", 40 * kMillisecond)})), IsEmpty());
  const std::string last = ClipWith("last", 51 * kMillisecond);
  const CheckReport report = CheckAll({first, last});
  const Finding finding = Only(report, Message::kTrackDrift);
  EXPECT_EQ(last, finding.path);
  EXPECT_EQ(
      "would end with track 2 (mp4a) 81.0 ms after track 1 (avc1), 51.0 ms more than the first "
      "clip ends with",
      finding.text);
  EXPECT_EQ(Severity::kWarning, finding.severity);
  EXPECT_THAT(finding.remedy, testing::HasSubstr("without --exact"));
  const std::string apart = ClipWith("apart", 71 * kMillisecond);
  EXPECT_THAT(Only(CheckAll({first, apart}), Message::kTrackDrift).remedy,
              testing::HasSubstr("does so by itself"));
}

TEST_F(CheckDrift, OfASingleClipIsItsOwnAffair) {
  const CheckReport report = CheckAll({ClipWith("a", 90 * kMillisecond)});
  EXPECT_THAT(SeamsOf(report), ElementsAre(90));
  EXPECT_THAT(NamesOf(report), IsEmpty());
}

TEST_F(CheckDrift, TakesTheFirstEditIntoAccount) {
  // The encoder's priming, which each clip has and its edit list hides: 1024 ticks. It is played
  // at the seam, and not at the start.
  MovieBuilder clip = EvenClip();
  clip.tracks[0].edits = {{960, 0}};
  clip.tracks[1].edits = {{960, 1024}};
  clip.tracks[1].stts = {{74, 1024}, {1, 2048}};
  clip.tracks[1].mediaDuration += 1024;
  const std::vector<double> seams = SeamsOf(CheckAll({Put("a", clip), Put("b", clip)}));
  ASSERT_EQ(2u, seams.size());
  EXPECT_NEAR(21.333, seams[0], 0.001);
  EXPECT_NEAR(21.333, seams[1], 0.001);
}

TEST_F(CheckDrift, ComparesWhatIsShown) {
  // Pictures that are shown two later than they are decoded, which their edit makes up for: they
  // end with the sound.
  MovieBuilder clip = EvenClip();
  clip.tracks[0].edits = {{960, 2000}};
  clip.tracks[0].ctts = {{48, 2000}};
  clip.tracks[1].edits = {{960, 0}};
  EXPECT_THAT(SeamsOf(CheckAll({Put("a", clip), Put("b", clip)})), ElementsAre(0, 0));
}

TEST_F(CheckDrift, IsNotToldWhereTracksDoNotMatch) {
  MovieBuilder clip = EvenClip();
  clip.tracks.pop_back();
  EXPECT_THAT(CheckAll({ClipWith("a", 0), Put("b", clip)}).seams, IsEmpty());
}

TEST_F(CheckDrift, OfOtherTracksIsAWarning) {
  MovieBuilder clip = EvenClip();
  support::Track notes = support::TimecodeTrack({{1, 0, 0, 0}});
  notes.stts = {{1, 60000}};
  clip.Add(notes);
  const CheckReport report = CheckAll({Put("a", clip), Put("b", clip)});
  EXPECT_THAT(SeamsOf(report), ElementsAre(0, 0));
  EXPECT_EQ(Severity::kWarning, Only(report, Message::kTrackDrift).severity);
}
