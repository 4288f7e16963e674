// What a check says about the order of the clips.
#include "workflow/checks/order_check.h"

#include <numeric>
#include <random>

#include "support/sequences.h"
#include "support/vendor_box.h"
#include "workflow/checks/check_fixture.h"
#include "workflow/clip_order.h"

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
using testing::UnorderedElementsAre;

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
  std::string OrderOf(const std::vector<std::string>& paths,
                      std::string text = "let --sort put them in order: ") {
    for (const std::string& path : paths) text += (&path == &paths.front() ? "" : ", ") + path;
    return text;
  }
};

// Where --sort would refuse.
constexpr const char* kByName = "name them in this order: ";

}  // namespace

TEST_F(CheckOrder, TakesAChainInItsOrder) {
  EXPECT_THAT(NamesOf(CheckAll({ChainFile("c", 1, 3), ChainFile("b", 2, 3), ChainFile("a", 3, 3)})),
              IsEmpty());
}

TEST_F(CheckOrder, NamesTheBetterOrderOfAChain) {
  const std::string a = ChainFile("a", 1, 3);
  const std::string b = ChainFile("b", 2, 3);
  const std::string c = ChainFile("c", 3, 3);
  const Finding finding = Only(CheckAll({a, c, b}), Message::kOrderWrong);
  EXPECT_EQ(c, finding.path);
  EXPECT_EQ(Severity::kRisk, finding.severity);
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
  EXPECT_EQ(OrderOf({early, late}, kByName), Only(report, Message::kOrderDoubtful).remedy);
  EXPECT_EQ(1u, Of(report, Message::kOtherRecording).size());
}

TEST_F(CheckOrder, TakesAWrongOrderInsideOfARecordingForProven) {
  const std::string late = ChainFile("late", 1, 1, 0, 2000);
  const std::string a = ChainFile("a", 1, 2, 10, 1000);
  const std::string b = ChainFile("b", 2, 2, 10, 1001);
  EXPECT_EQ(OrderOf({a, b, late}, kByName),
            Only(CheckAll({late, b, a}), Message::kOrderWrong).remedy);
  EXPECT_THAT(Of(CheckAll({late, a, b}), Message::kOrderWrong), IsEmpty());
}

TEST_F(CheckOrder, SaysOnceWhichRecordingsAreMixed) {
  const CheckReport report = CheckAll({ChainFile("a1", 1, 2), ChainFile("a2", 2, 2),
                                       ChainFile("b", 1, 1, 10), ChainFile("c", 1, 1, 20)});
  const Finding finding = Only(report, Message::kOtherRecording);
  EXPECT_THAT(finding.path, EndsWith("/b"));
  EXPECT_THAT(finding.text, HasSubstr("the list mixes 3, which begin with "));
  EXPECT_THAT(finding.text, HasSubstr("/a1, "));
  EXPECT_THAT(finding.text, EndsWith("/c"));
}

// One advice, and none that contradicts it: dates and timecodes say nothing about which recording
// is to stand first.
TEST_F(CheckOrder, SaysNothingOfDatesWhereRecordingsAreMixed) {
  const CheckReport report =
      CheckAll({ChainFile("a1", 1, 2, 0, 1000), ChainFile("b2", 2, 2, 10, 3001),
                ChainFile("b1", 1, 2, 10, 3000), ChainFile("a2", 2, 2, 0, 1001)});
  EXPECT_THAT(NamesOf(report), UnorderedElementsAre("order-wrong", "other-recording"));
}

TEST_F(CheckOrder, NamesNoMoreClipsThanAPersonReads) {
  std::vector<std::string> clips;
  for (unsigned int i = 1; i <= 12; ++i) clips.push_back(ChainFile("c" + std::to_string(i), i, 12));
  std::swap(clips[0], clips[11]);
  const Finding finding = Only(CheckAll(clips), Message::kOrderWrong);
  EXPECT_THAT(finding.remedy, HasSubstr("clipchain join FOLDER -o DIR"));
  EXPECT_LT(finding.remedy.size(), 120u);
}

TEST_F(CheckOrder, SortsByIdentifiersTimecodesOrDates) {
  const auto sorted = [](const std::vector<std::string>& clips) {
    const clipchain::ClipOrder order = clipchain::SortClips(clips);
    EXPECT_THAT(order.findings, IsEmpty());
    return order.clips;
  };
  const std::string a = ChainFile("a", 1, 3, 0, 3000);
  const std::string b = ChainFile("b", 2, 3, 0, 2000);
  const std::string c = ChainFile("c", 3, 3, 0, 1000);
  EXPECT_THAT(sorted({c, a, b}), ElementsAre(a, b, c));
  const std::string early = TimedFile("t1", {23, 59, 59, 0});
  const std::string late = TimedFile("t2", {0, 0, 0, 18});
  EXPECT_THAT(sorted({late, early}), ElementsAre(early, late));
  const std::string first = DatedFile("d1", 1000);
  const std::string second = DatedFile("d2", 1001);
  EXPECT_THAT(sorted({second, first}), ElementsAre(first, second));
}

TEST_F(CheckOrder, SortsNothingThatMakesNoSingleRecording) {
  const std::string a = ChainFile("a", 1, 1, 0, 2000);
  const std::string b = ChainFile("b", 1, 1, 10, 1000);
  const std::string undated = DatedFile("c", 0);
  for (const auto& clips :
       std::vector<std::vector<std::string>>{{a, b}, {a, undated}, {undated, undated}}) {
    const clipchain::ClipOrder order = clipchain::SortClips(clips);
    EXPECT_EQ(clips, order.clips);
    ASSERT_EQ(1u, order.findings.size());
    EXPECT_EQ(Message::kOrderUnknown, order.findings[0].message);
  }
  const clipchain::ClipOrder order = clipchain::SortClips({a, b + "-missing"});
  ASSERT_EQ(1u, order.findings.size());
  EXPECT_EQ(Message::kInputUnreadable, order.findings[0].message);
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
  // Of timecodes that do not run on it believes dates before them.
  EXPECT_EQ(OrderOf({a, b}, kByName), finding.remedy);
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

namespace {

// Each clip looked at beside each other: slow, and easy to see through.
class TimecodeWalk {
 public:
  explicit TimecodeWalk(const std::vector<clipchain::OrderFacts>& clips) : clips_(clips) {}

  // The order in which the clips run on; empty if there is none.
  std::vector<std::size_t> Running() const {
    const std::size_t count = clips_.size();
    std::vector<std::size_t> next(count, count);
    std::vector<bool> hasOneBefore(count);
    for (std::size_t a = 0; a < count; ++a) {
      for (std::size_t b = 0; b < count && next[a] == count; ++b) {
        if (a != b && RunsOn(*clips_[a].timecode, *clips_[b].timecode)) next[a] = b;
      }
      if (next[a] != count) hasOneBefore[next[a]] = true;
    }
    const auto head = std::find(hasOneBefore.begin(), hasOneBefore.end(), false);
    std::vector<std::size_t> order;
    for (auto at = static_cast<std::size_t>(head - hasOneBefore.begin());
         at != count && order.size() < count; at = next[at])
      order.push_back(at);
    return order.size() == count ? order : std::vector<std::size_t>();
  }

 private:
  static bool RunsOn(const clipchain::ClipTimecode& a, const clipchain::ClipTimecode& b) {
    if (a.frames == 0 || a.framesPerSecond == 0) return false;
    const std::uint64_t day = std::uint64_t{86400} * a.framesPerSecond;
    const auto told = [&a](std::uint32_t code) {
      return ((code >> 24) * std::uint64_t{3600} + (code >> 16 & 127) * 60 + (code >> 8 & 255)) *
                 a.framesPerSecond +
             (code & 255);
    };
    return (a.first + a.frames) % day == b.first % day ||
           (told(a.first) + a.frames) % day == told(b.first) % day;
  }

  const std::vector<clipchain::OrderFacts>& clips_;
};

// Few values, so that many clips run on, among them at the end of a day and from several clips.
std::vector<clipchain::OrderFacts> RandomClips(std::mt19937& random) {
  const auto one = [&random](std::uint32_t below) {
    return static_cast<std::uint32_t>(random() % below);
  };
  std::vector<clipchain::OrderFacts> clips(2 + one(5));
  const bool told = one(2) == 0;
  for (clipchain::OrderFacts& clip : clips) {
    const std::uint32_t start = one(6);
    const std::uint32_t code = told ? start << 8 : one(8) == 0 ? 86399 + one(2) : start;
    clip.timecode = {code, one(4), one(10) == 0 ? one(3) : 1};
  }
  return clips;
}

}  // namespace

TEST(OrderByTimecode, IsThatOfAWalkOverAllPairs) {
  std::mt19937 random(1);
  unsigned int running = 0;
  for (int round = 0; round < 200000; ++round) {
    const std::vector<clipchain::OrderFacts> clips = RandomClips(random);
    std::vector<clipchain::FileFindings> findings;
    for (std::size_t i = 0; i < clips.size(); ++i) findings.emplace_back(std::to_string(i));
    clipchain::CheckOrder(clips, findings);

    std::vector<std::size_t> given(clips.size());
    std::iota(given.begin(), given.end(), std::size_t{0});
    std::vector<std::size_t> expected = TimecodeWalk(clips).Running();
    const bool runs = !expected.empty();
    if (!runs) {
      expected = given;
      std::stable_sort(expected.begin(), expected.end(), [&clips](std::size_t a, std::size_t b) {
        return clips[a].timecode->first < clips[b].timecode->first;
      });
    }
    std::string remedy;
    for (const std::size_t i : expected)
      remedy += (!remedy.empty() ? ", "
                 : runs          ? "let --sort put them in order: "
                                 : kByName) +
                std::to_string(i);
    clipchain::Findings all;
    for (const auto& file : findings) all.insert(all.end(), file.All().begin(), file.All().end());
    if (expected == given) {
      ASSERT_TRUE(all.empty()) << all.front().remedy << " in round " << round;
      continue;
    }
    ASSERT_EQ(1u, all.size()) << "round " << round;
    ASSERT_EQ(remedy, all.front().remedy) << "round " << round;
    ASSERT_EQ(runs, all.front().text.find("run on") != std::string::npos) << "round " << round;
    if (runs) ++running;
  }
  EXPECT_GT(running, 1000u);
}
