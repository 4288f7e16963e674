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

TEST_F(CheckDrift, WarnsAboveTenMilliseconds) {
  const std::string good = ClipWith("good", 0);
  EXPECT_THAT(NamesOf(CheckAll({ClipWith("at", 10 * kMillisecond), good})), IsEmpty());
  const CheckReport report = CheckAll({ClipWith("above", 10 * kMillisecond + 1), good});
  const Finding finding = Only(report, Message::kTrackDrift);
  EXPECT_EQ(Severity::kWarning, finding.severity);
  EXPECT_EQ(good, finding.path);
  EXPECT_THAT(finding.text, HasSubstr("begin with track 2 (mp4a) 10.0 ms behind track 1 (avc1)"));
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

TEST_F(CheckDrift, CountsAtTheEnd) {
  const std::string last = ClipWith("last", 81 * kMillisecond);
  const CheckReport report = CheckAll({ClipWith("good", 0), last});
  const Finding finding = Only(report, Message::kTrackDrift);
  EXPECT_EQ(last, finding.path);
  EXPECT_THAT(finding.text,
              HasSubstr("would end with track 2 (mp4a) 81.0 ms after track 1 (avc1)"));
  EXPECT_EQ(Severity::kRisk, finding.severity);
}

TEST_F(CheckDrift, OfASingleClipIsItsOwnAffair) {
  const CheckReport report = CheckAll({ClipWith("a", 90 * kMillisecond)});
  EXPECT_THAT(SeamsOf(report), ElementsAre(90));
  EXPECT_THAT(NamesOf(report), IsEmpty());
}

TEST_F(CheckDrift, TakesTheFirstEditIntoAccount) {
  // The encoder's priming, which each clip has and its edit list hides: 1024 ticks.
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

// Nobody can merge less than two clips.
TEST_F(CheckDrift, RecommendsWhatCanBeDone) {
  const std::string good = ClipWith("good", 0);
  const std::string even = ClipWith("even", 0);
  const std::string late = ClipWith("late", 20 * kMillisecond);
  const auto remedyFor = [](const std::vector<std::string>& clips) {
    return Only(CheckAll(clips), Message::kTrackDrift).remedy;
  };
  const std::string cut = "cut the longer track of each clip to the length of the other first";
  EXPECT_EQ(cut + ", or leave the clips apart, where each is in step", remedyFor({late, good}));
  EXPECT_EQ(cut + ", or leave the clips apart, where each is in step", remedyFor({good, late}));
  EXPECT_EQ(cut, remedyFor({late, good, even}));
  EXPECT_EQ("merge no more than the 2 clips before it at once, or " + cut,
            remedyFor({good, late, even}));
  EXPECT_EQ("merge no more than the 2 clips before it at once, or " + cut,
            remedyFor({good, even, late}));
}
