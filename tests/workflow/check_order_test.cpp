// What a check says about the order of the clips.
#include "support/sequences.h"
#include "support/vendor_box.h"
#include "workflow/check_fixture.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using clipchain::Severity;
using support::Bytes;
using support::ChainLink;
using support::MovieBuilder;
using support::U32;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class CheckOrder : public support::CheckTest {
 protected:
  std::string ChainFile(const std::string& name, unsigned int number, unsigned int length,
                        unsigned int base = 0, std::uint32_t created = 0) {
    MovieBuilder clip = EvenClip(static_cast<unsigned char>(base + number));
    clip.creationTime = created;
    return Put(name, support::WithVendorBox(clip.Build(), ChainLink(number, length, base)));
  }
  std::string DatedFile(const std::string& name, std::uint32_t created) {
    MovieBuilder clip = EvenClip();
    clip.creationTime = created;
    return Put(name, clip);
  }
  // A clip of 48 frames at 30 in a second, whose timecode begins there.
  std::string TimedFile(const std::string& name, const Bytes& timecode) {
    MovieBuilder clip = EvenClip();
    support::Track track = support::TimecodeTrack({timecode});
    track.stts = {{1, 48000}};
    clip.Add(track);
    return Put(name, clip);
  }
  std::string OrderOf(const std::vector<std::string>& paths) {
    std::string text = "give the clips in this order: ";
    for (const std::string& path : paths) text += (&path == &paths.front() ? "" : ", ") + path;
    return text;
  }
};

}  // namespace

TEST_F(CheckOrder, TakesAChainInItsOrder) {
  EXPECT_THAT(NamesOf(CheckAll({ChainFile("c", 1, 3), ChainFile("b", 2, 3), ChainFile("a", 3, 3)})),
              IsEmpty());
}

TEST_F(CheckOrder, NamesTheBetterOrderOfAChain) {
  const std::string a = ChainFile("a", 1, 3);
  const std::string b = ChainFile("b", 2, 3);
  const std::string c = ChainFile("c", 3, 3);
  const Finding finding = Only(CheckAll({a, c, b}), Message::kOrderDoubtful);
  EXPECT_EQ(c, finding.path);
  EXPECT_EQ(Severity::kWarning, finding.severity);
  EXPECT_EQ(OrderOf({a, b, c}), finding.remedy);
  EXPECT_THAT(finding.text, HasSubstr("identifiers"));
}

TEST_F(CheckOrder, FindsAMissingClip) {
  const std::string a = ChainFile("a", 1, 3);
  const std::string c = ChainFile("c", 3, 3);
  const CheckReport report = CheckAll({a, c});
  EXPECT_THAT(NamesOf(report), ElementsAre("clip-missing"));
  EXPECT_EQ(c, report.findings.front().path);
  EXPECT_EQ(Severity::kRisk, report.findings.front().severity);
}

TEST_F(CheckOrder, TakesPartOfAChain) {
  EXPECT_THAT(NamesOf(CheckAll({ChainFile("b", 2, 4), ChainFile("c", 3, 4)})), IsEmpty());
}

TEST_F(CheckOrder, FindsClipsOfOtherRecordings) {
  const CheckReport report = CheckAll({ChainFile("a", 1, 1), ChainFile("b", 1, 1, 10)});
  EXPECT_THAT(NamesOf(report), ElementsAre("other-recording"));
  EXPECT_EQ(Severity::kWarning, report.findings.front().severity);
}

TEST_F(CheckOrder, SortsRecordingsByTheirDates) {
  const std::string late = ChainFile("late", 1, 1, 0, 2000);
  const std::string early = ChainFile("early", 1, 1, 10, 1000);
  const CheckReport report = CheckAll({late, early});
  EXPECT_EQ(OrderOf({early, late}), Only(report, Message::kOrderDoubtful).remedy);
  EXPECT_EQ(1u, Of(report, Message::kOtherRecording).size());
}

TEST_F(CheckOrder, FindsACopyOfAClip) {
  const CheckReport report =
      CheckAll({ChainFile("a", 1, 2), ChainFile("b", 2, 2), ChainFile("copy", 2, 2)});
  EXPECT_THAT(Only(report, Message::kSameClipTwice).path, EndsWith("copy"));
}

TEST_F(CheckOrder, SurvivesAChainThatGoesRound) {
  support::VendorBox first{support::Id(1), support::Id(2), support::Id(2), {}};
  support::VendorBox second{support::Id(2), support::Id(1), support::Id(1), {}};
  const std::string a = Put("a", support::WithVendorBox(EvenClip(1).Build(), first));
  const std::string b = Put("b", support::WithVendorBox(EvenClip(2).Build(), second));
  EXPECT_THAT(NamesOf(CheckAll({a, b})), IsEmpty());
}

TEST_F(CheckOrder, NamesTheBetterOrderByDates) {
  const std::string a = DatedFile("a", 1000);
  const std::string b = DatedFile("b", 1001);
  EXPECT_THAT(NamesOf(CheckAll({a, b})), IsEmpty());
  const Finding finding = Only(CheckAll({b, a}), Message::kOrderDoubtful);
  EXPECT_EQ(b, finding.path);
  EXPECT_EQ(OrderOf({a, b}), finding.remedy);
  EXPECT_THAT(finding.text, HasSubstr("dates"));
}

TEST_F(CheckOrder, TakesEqualAndUnknownDatesAsTheyCome) {
  EXPECT_THAT(NamesOf(CheckAll({DatedFile("a", 1000), DatedFile("b", 1000)})), IsEmpty());
  EXPECT_THAT(NamesOf(CheckAll({DatedFile("a", 1000), DatedFile("b", 0)})), IsEmpty());
}

TEST_F(CheckOrder, NamesTheBetterOrderByTimecodes) {
  const std::string a = TimedFile("a", {1, 0, 0, 0});
  const std::string b = TimedFile("b", {1, 5, 0, 0});
  EXPECT_THAT(NamesOf(CheckAll({a, b})), IsEmpty());
  const Finding finding = Only(CheckAll({b, a}), Message::kOrderDoubtful);
  EXPECT_EQ(OrderOf({a, b}), finding.remedy);
  EXPECT_THAT(finding.text, HasSubstr("timecodes say"));
}

TEST_F(CheckOrder, FollowsTimecodesFrameByFrameAcrossMidnight) {
  // 48 frames are one second and 18 frames.
  const std::string a = TimedFile("a", {23, 59, 59, 0});
  const std::string b = TimedFile("b", {0, 0, 0, 18});
  const std::string c = TimedFile("c", {0, 0, 2, 6});
  EXPECT_THAT(Of(CheckAll({a, b, c}), Message::kOrderDoubtful), IsEmpty());
  const Finding finding = Only(CheckAll({b, c, a}), Message::kOrderDoubtful);
  EXPECT_EQ(OrderOf({a, b, c}), finding.remedy);
  EXPECT_THAT(finding.text, HasSubstr("frame by frame"));
}

TEST_F(CheckOrder, FollowsTimecodesThatCountFrames) {
  const std::string a = TimedFile("a", U32(24 * 60 * 60 * 30 - 48));
  const std::string b = TimedFile("b", U32(0));
  EXPECT_THAT(NamesOf(CheckAll({a, b})), IsEmpty());
  EXPECT_EQ(OrderOf({a, b}), Only(CheckAll({b, a}), Message::kOrderDoubtful).remedy);
}

TEST_F(CheckOrder, ReadsTimecodesByOffsetsOf64BitsToo) {
  MovieBuilder clip = EvenClip();
  support::Track track = support::TimecodeTrack({{2, 0, 0, 0}});
  track.stts = {{1, 48000}};
  track.co64 = true;
  clip.Add(track);
  const std::string late = Put("late", clip);
  EXPECT_EQ(1u,
            Of(CheckAll({late, TimedFile("early", {1, 0, 0, 0})}), Message::kOrderDoubtful).size());
}
