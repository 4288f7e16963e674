#include "workflow/html_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/vendor_box.h"
#include "workflow/html_join.h"
#include "workflow/pages/html_parts.h"

using namespace clipchain;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};

SequenceClip ClipAt(const std::string& path, unsigned int volume = 0, long long duration = 2560) {
  SequenceClip clip{};
  clip.path = path;
  clip.id = support::Id(1);
  clip.volume = volume;
  clip.date = kDate;
  clip.size = 1234567;
  clip.card.timeScale = duration < 0 ? 0 : 1000;
  clip.card.duration = duration;
  return clip;
}

SequenceReport SequenceOf(const std::vector<SequenceClip>& clips) {
  SequenceReport sequence{};
  sequence.date = kDate;
  sequence.closedAtHead = true;
  sequence.closedAtTail = true;
  sequence.headID = support::Id(1);
  sequence.tailID = support::Id(3);
  sequence.clips = clips;
  for (const SequenceClip& clip : clips) sequence.volumes.push_back(clip.volume);
  return sequence;
}

// A page that has a part of every kind, with `name` wherever a name stands.
std::string PageWith(const std::string& name) {
  std::string file = name;  // in which a slash would be no part of the name
  std::replace(file.begin(), file.end(), '/', '_');
  FoundClips found;
  found.volumes = {{name, {name, name}}, {"", {name}}};
  found.unreadable = {{name, "can't be searched: " + name}};
  ScanReport report;
  SequenceReport sequence = SequenceOf({ClipAt("/x" + name + "/" + file), ClipAt(file, 1)});
  sequence.closedAtTail = false;
  sequence.clips[0].card.thumbnail = {0xFF, 0xD8, 0xFF, 0xD9};
  report.sequences = {sequence};
  // Elsewhere, so that it is never perhaps the end of a recording.
  report.rejected = {{"/rejected/" + name, E_BAD_TYPE}};
  return HtmlReport(found, report, {});
}

// The tags of a page with the names of their attributes, in order.
std::vector<std::string> TagsOf(const std::string& page) {
  static const std::regex kTag("<(/?[a-zA-Z!][^\\s>]*)((\"[^\"]*\"|'[^']*'|[^\"'>])*)>");
  static const std::regex kValue("=\"[^\"]*\"");
  std::vector<std::string> tags;
  const std::string body = page.substr(page.find("</style>"));
  for (std::sregex_iterator tag(body.begin(), body.end(), kTag), end; tag != end; ++tag) {
    tags.push_back((*tag)[1].str() + std::regex_replace((*tag)[2].str(), kValue, ""));
  }
  return tags;
}

std::string PageOf(const SequenceReport& sequence) {
  FoundClips found;
  found.volumes = {{"/card", {"/card/a"}}};
  ScanReport report;
  report.sequences = {sequence};
  return HtmlReport(found, report, {});
}

std::size_t Occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

}  // namespace

TEST(HtmlReport, BeginsWithWhatNeedsAttention) {
  const std::string page = PageWith("name");
  ASSERT_NE(std::string::npos, page.find("id=\"attention\""));
  for (const char* part : {"id=\"time-line\"", "id=\"sequences\"", "id=\"volumes\""})
    EXPECT_LT(page.find("id=\"attention\""), page.find(part)) << part;
}

TEST(HtmlReport, HasEveryTagClosed) {
  static const std::set<std::string> kVoid = {"meta", "img", "path", "use", "rect", "br", "image"};
  std::vector<std::string> open = {"html", "head", "style"};
  for (const std::string& tag : TagsOf(PageWith("name"))) {
    const std::string name = tag.substr(0, tag.find_first_of(" \n/", 1));
    if (name.front() == '/') {
      ASSERT_FALSE(open.empty());
      EXPECT_EQ(name, "/" + open.back());
      open.pop_back();
    } else if (kVoid.count(name) == 0) {
      open.push_back(name);
    }
  }
  EXPECT_TRUE(open.empty());
}

TEST(HtmlReport, NoNameBecomesMoreThanText) {
  const std::vector<std::string> tags = TagsOf(PageWith("name"));
  EXPECT_LT(100u, tags.size());
  for (const char* name :
       {"<script>alert(1)</script>", "\"><img src=x onerror=alert(1)>", "' onload='alert(1)",
        "--></style><!--", "&lt;&#60;", "</title><b>", "]]>", "`${x}`", "javascript:alert(1)",
        "{}{0}%s%n", "\xE2\x80\xAE<\xE2\x81\xA6>"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(tags, TagsOf(PageWith(name)));
    EXPECT_EQ(Occurrences(PageWith("name"), "<script"), Occurrences(PageWith(name), "<script"));
  }
}

TEST(HtmlReport, ABadByteIsShownAndKept) {
  const std::string page = PageWith("a\xFF\n");
  EXPECT_EQ(std::string::npos, page.find('\xFF'));
  EXPECT_THAT(page, HasSubstr("data-path=\"a\xEF\xBF\xBD\n\" data-path-bytes=\"61ff0a\""));
  EXPECT_THAT(page, HasSubstr("<bdi>a\\xFF\\x0A</bdi>"));
}

TEST(HtmlReport, NeedsNothingElse) {
  const std::string page = PageWith("name");
  EXPECT_EQ(Occurrences(page, "<script>"), Occurrences(page, "<script"));
  EXPECT_THAT(page, Not(HasSubstr("<link")));
  EXPECT_THAT(page, Not(HasSubstr("@import")));
  EXPECT_THAT(page, HasSubstr("default-src 'none'; img-src data:"));
  // The one address is the name of a markup language.
  EXPECT_EQ(Occurrences(page, "://"), Occurrences(page, "xmlns='http://www.w3.org/2000/svg'"));
  static const std::regex kHandler("<[^>]* on[a-z]+=");
  EXPECT_FALSE(std::regex_search(page, kHandler));
}

TEST(HtmlReport, TheSameReportGivesTheSamePage) { EXPECT_EQ(PageWith("a"), PageWith("a")); }

TEST(HtmlReport, SaysWhatASequenceIs) {
  const std::string page = PageOf(SequenceOf({ClipAt("/card/C1.MP4"), ClipAt("/card/C2.MP4")}));
  EXPECT_THAT(page, HasSubstr("<h1>1 recording on 1 card</h1>"));
  EXPECT_THAT(page,
              HasSubstr("data-number=\"1\" data-date=\"2024-05-06T07:08:09\" data-clips=\"2\" "
                        "data-seconds=\"5.12\" data-state=\"complete\"\n"
                        "data-closed-at-head=\"true\" data-closed-at-tail=\"true\""));
  EXPECT_THAT(page, HasSubstr("data-head-id=\"01010101-0101-0101-0101-010101010101\" "
                              "data-tail-id=\"03030303-0303-0303-0303-030303030303\""));
  EXPECT_THAT(page, HasSubstr("data-path=\"/card/C1.MP4\" data-volume=\"1\" "
                              "data-date=\"2024-05-06T07:08:09\" data-seconds=\"2.56\" "
                              "data-size=\"1234567\""));
  EXPECT_THAT(page, HasSubstr("<strong>5.1 s</strong>"));
  EXPECT_THAT(page, HasSubstr("<span>2.5 MB</span>"));
  EXPECT_THAT(page, HasSubstr("no picture"));
  EXPECT_THAT(page, Not(HasSubstr("<li class=\"missing")));
  EXPECT_THAT(page, Not(HasSubstr("class=\"torn")));
}

TEST(HtmlReport, DrawsOpenEndsAsMissingPieces) {
  SequenceReport sequence = SequenceOf({ClipAt("a")});
  sequence.closedAtHead = false;
  std::string page = PageOf(sequence);
  EXPECT_THAT(page, HasSubstr("Missing in front"));
  EXPECT_THAT(page, Not(HasSubstr("Missing behind")));
  EXPECT_EQ(2u, Occurrences(page, "class=\"torn head\""));
  EXPECT_LT(page.find("<li class=\"missing head"), page.find("<li class=\"clip\""));
  sequence.closedAtHead = true;
  sequence.closedAtTail = false;
  page = PageOf(sequence);
  EXPECT_THAT(page, HasSubstr("Missing behind"));
  EXPECT_THAT(page, Not(HasSubstr("Missing in front")));
  EXPECT_EQ(2u, Occurrences(page, "class=\"torn tail\""));
  EXPECT_GT(page.find("<li class=\"missing tail"), page.find("<li class=\"clip\""));
}

TEST(HtmlReport, ADurationThatIsNotKnownIsNotMadeUp) {
  std::string page = PageOf(SequenceOf({ClipAt("a"), ClipAt("b", 0, -1)}));
  EXPECT_THAT(page, HasSubstr("data-clips=\"2\" data-seconds=\"\""));
  EXPECT_THAT(page, HasSubstr("<strong>at least 2.6 s</strong>"));
  EXPECT_THAT(page, HasSubstr("<span class=\"tag length\">unknown length</span>"));
  page = PageOf(SequenceOf({ClipAt("b", 0, -1)}));
  EXPECT_THAT(page, HasSubstr("<strong>unknown length</strong>"));
}

TEST(HtmlReport, ShowsThumbnailsWithTheirText) {
  SequenceClip clip = ClipAt("/card/<C1>.MP4");
  clip.card.thumbnail = {0xFF, 0xD8, 0xFF, 0xD9};
  clip.card.width = 160;
  clip.card.height = 90;
  EXPECT_THAT(PageOf(SequenceOf({clip})),
              HasSubstr("<img alt=\"Picture of &lt;C1&gt;.MP4\" width=\"160\" height=\"90\" "
                        "loading=\"lazy\" decoding=\"async\" "
                        "src=\"data:image/jpeg;base64,/9j/2Q==\">"));
}

// As a person would lay them out: bar after bar, each in the first lane where it touches nothing.
TEST(HtmlReport, PutsEachBarInTheFirstLaneThatIsFree) {
  std::mt19937 random(1);
  std::size_t mostLanes = 0;
  for (int round = 0; round < 300; ++round) {
    ScanReport report;
    std::vector<unsigned int> seconds;
    for (unsigned int i = 0; i < 2 + random() % 20; ++i)
      seconds.push_back(static_cast<unsigned int>(random() % 600));
    for (const unsigned int second : seconds) {
      const long long length = 1 + static_cast<long long>(random() % 200);
      report.sequences.push_back(SequenceOf({ClipAt("a", 0, length * 1000)}));
      report.sequences.back().date = {2024,
                                      5,
                                      6,
                                      7,
                                      static_cast<std::uint8_t>(second / 60),
                                      static_cast<std::uint8_t>(second % 60)};
    }
    const std::string page = HtmlTimeline(report);
    const std::regex bar(
        R"re((left|right):([0-9.]+)%;width:([0-9.]+)%;--lane:([0-9]+)"><a class="bar" href="#sequence-([0-9]+))re");
    std::vector<double> freeFrom;
    double before = 0;
    std::size_t bars = 0;
    for (std::sregex_iterator at(page.begin(), page.end(), bar), end; at != end; ++at, ++bars) {
      constexpr double kRounding = 0.002;
      const double least = 4 + 3 * static_cast<double>((*at)[5].length());
      const double width = std::stod((*at)[3]);
      const bool isLate = (*at)[1] == "right";
      const double left = isLate ? 100 - width - std::stod((*at)[2]) : std::stod((*at)[2]);
      EXPECT_TRUE(isLate ? left > 79.9 : left < 80.1) << left;
      EXPECT_LE(before, left + kRounding);
      before = left;
      std::size_t lane = 0;
      while (lane < freeFrom.size() && freeFrom[lane] > left + kRounding) ++lane;
      ASSERT_EQ(std::to_string(lane), (*at)[4].str()) << page;
      freeFrom.resize(std::max(freeFrom.size(), lane + 1));
      freeFrom[lane] = left + std::max(width, least);
    }
    EXPECT_EQ(seconds.size(), bars);
    EXPECT_THAT(page, HasSubstr("--lanes:" + std::to_string(freeFrom.size()) + "\""));
    mostLanes = std::max(mostLanes, freeFrom.size());
  }
  EXPECT_GT(mostLanes, 5u);
}

TEST(HtmlReport, PutsSequencesOnTheLineOfTheirDay) {
  FoundClips found;
  found.volumes = {{"/card", {}}};
  ScanReport report;
  for (const std::uint8_t minute : std::initializer_list<std::uint8_t>{0, 1, 30}) {
    report.sequences.push_back(SequenceOf({ClipAt("a", 0, 120000)}));
    report.sequences.back().date = {2024, 5, 6, 7, minute, 0};
  }
  report.sequences[2].date->day = 5;
  report.sequences.push_back(SequenceOf({ClipAt("a")}));
  report.sequences.back().date.reset();
  const std::string page = HtmlReport(found, report, {});
  EXPECT_LT(
      page.find("<h3><time datetime=\"2024-05-05\">2024-05-05</time> <span>1 recording, 2 min"),
      page.find("<h3><time datetime=\"2024-05-06\">2024-05-06</time> <span>2 recordings, 4 min"));
  EXPECT_THAT(page, HasSubstr("--lanes:2"));
  // Both days have one scale, from 07:00 to 07:35. What begins late grows towards the front.
  EXPECT_THAT(page, HasSubstr("left:0.000%;width:5.714%;--lane:0\"><a class=\"bar\" "
                              "href=\"#sequence-1\""));
  EXPECT_THAT(page, HasSubstr("left:2.857%;width:5.714%;--lane:1\"><a class=\"bar\" "
                              "href=\"#sequence-2\""));
  EXPECT_THAT(page, HasSubstr("right:8.571%;width:5.714%;--lane:0\"><a class=\"bar\" "
                              "href=\"#sequence-3\""));
  EXPECT_EQ(2u, Occurrences(page, "<span>07:00</span>"));
  EXPECT_EQ(2u, Occurrences(page, "<span>07:35</span>"));
  EXPECT_THAT(page, HasSubstr("<a href=\"#sequence-4\">Recording 4</a>, 2.6 s"));
  EXPECT_THAT(page, HasSubstr("date unknown"));
}

TEST(HtmlReport, TakesDatesAndDurationsThatMakeNoSense) {
  ScanReport report;
  for (const long long duration : {0LL, 1LL, 1LL << 40, 9'223'372'036'854'775'807LL}) {
    report.sequences.push_back(SequenceOf({ClipAt("a", 0, duration)}));
    report.sequences.back().date = {65535, 255, 255, 255, 255, 255};
  }
  const std::string page = HtmlReport({}, report, {});
  EXPECT_GE(9u, Occurrences(page, "<div class=\"tick"));
  EXPECT_THAT(page, Not(HasSubstr("nan")));
  EXPECT_THAT(page, Not(HasSubstr("inf%")));
}

TEST(HtmlReport, TellsWhatBecameOfStepsThatWereAskedFor) {
  ScanReport report;
  EXPECT_THAT(HtmlReport({}, report, {}), Not(HasSubstr("data-step")));
  ScanOptions options;
  options.salvage = true;
  options.divide = true;
  report.joined = true;
  std::string page = HtmlReport({}, report, {options, {}, {}});
  EXPECT_THAT(page, HasSubstr("data-step=\"salvage\" data-result=\"S_OK\" data-joined=\"true\">"));
  EXPECT_THAT(page, HasSubstr("data-step=\"division\" data-result=\"S_OK\""));
  EXPECT_THAT(page, HasSubstr("No clips"));
  report.joined = false;
  report.whyNotJoined = "there are 3 <recordings>";
  EXPECT_THAT(HtmlReport({}, report, {options, {}, {}}),
              HasSubstr("nothing was joined: there are 3 &lt;recordings&gt;"));
  report.whyNotJoined = "the timecode can't be read";
  report.salvaged = E_BAD_DATA;
  report.divided = E_POINTER;
  page = HtmlReport({}, report, {options, {}, {}});
  EXPECT_THAT(page, HasSubstr("Salvage failed: the timecode can&#39;t be read"));
  EXPECT_THAT(page, Not(HasSubstr("(E_")));
  EXPECT_THAT(page, HasSubstr("data-step=\"division\" data-result=\"E_POINTER\""));
}

// Gaps between pieces of two pixels would be all that the eye sees of a bar.
TEST(HtmlReport, PartsClipsOfABarWhereThereIsRoomForGaps) {
  ScanReport report;
  report.sequences = {SequenceOf(std::vector<SequenceClip>(5, ClipAt("a", 0, 60'000)))};
  report.sequences[0].clips.back().volume = 1;
  report.sequences[0].closedAtTail = false;
  EXPECT_EQ(5u, Occurrences(HtmlTimeline(report), "<b class=\"piece "));
  report.sequences.push_back(SequenceOf({ClipAt("b")}));
  report.sequences[1].date->hour = 23;
  const std::string page = HtmlTimeline(report);
  EXPECT_EQ(2u + 1, Occurrences(page, "<b class=\"piece "));
  EXPECT_THAT(page,
              HasSubstr("<span class=\"strip many\" aria-hidden=\"true\"><b class=\"piece c0 s0 "
                        "start\" style=\"flex-grow:800.000\"></b><b class=\"piece c1 s1\" "
                        "style=\"flex-grow:200.000\"></b><i class=\"torn tail\"></i></span>"));
  EXPECT_EQ(5u, Occurrences(clipchain::HtmlStrip(report.sequences[0], "div"), "<b class=\"piece "));
}

TEST(HtmlReport, SixtyFourCardsAllLookDifferent) {
  std::set<std::string> looks;
  for (unsigned int volume = 0; volume < 64; ++volume) looks.insert(CardClasses(volume));
  EXPECT_EQ(64u, looks.size());
  // Neighbours differ in both, for those who see no colours or small shapes badly.
  EXPECT_EQ("c0 s0", CardClasses(0));
  EXPECT_EQ("c7 s7", CardClasses(7));
  EXPECT_EQ("c0 s1", CardClasses(8));
}

TEST(HtmlReport, CallsWhatHasNoIdentifiersUnidentifiedAndNotComplete) {
  SequenceReport sequence = SequenceOf({ClipAt("a")});
  for (SequenceClip& clip : sequence.clips) clip.id = {};
  const std::string page = PageOf(sequence);
  EXPECT_THAT(page, HasSubstr("data-state=\"unidentified\""));
  EXPECT_THAT(page, HasSubstr("data-kind=\"unidentified\""));
  EXPECT_THAT(page, Not(HasSubstr("data-state=\"complete\"")));
}

TEST(HtmlReport, TiesHalvesTogetherBetweenWhichOneClipIsMissing) {
  ScanReport report;
  report.sequences = {SequenceOf({ClipAt("a")}), SequenceOf({ClipAt("c")})};
  report.sequences[0].closedAtTail = false;
  report.sequences[0].clips[0].nextID = support::Id(7);
  report.sequences[1].closedAtHead = false;
  report.sequences[1].clips[0].previousID = support::Id(7);
  report.sequences[1].date->minute = 40;
  const std::string page = HtmlReport({}, report, {});
  EXPECT_THAT(page, HasSubstr("data-kind=\"halves\""));
  EXPECT_THAT(page, HasSubstr("One clip lies between this and <a href=\"#sequence-2\">"));
  EXPECT_THAT(page, HasSubstr("One clip lies between this and <a href=\"#sequence-1\">"));
  EXPECT_EQ(1u, Occurrences(page, "class=\"tie\""));
  report.sequences[1].clips[0].previousID = support::Id(8);
  EXPECT_THAT(HtmlReport({}, report, {}), Not(HasSubstr("data-kind=\"halves\"")));
  // Where two claim to be what follows, nobody knows.
  report.sequences[1].clips[0].previousID = support::Id(7);
  report.sequences.push_back(report.sequences[1]);
  EXPECT_THAT(HtmlReport({}, report, {}), Not(HasSubstr("data-kind=\"halves\"")));
}

TEST(HtmlReport, LeadsToTheClipsFromWhereItLies) {
  FoundClips found;
  ScanReport report;
  report.sequences = {SequenceOf({ClipAt("/media/card 1/a%\"<\xFF.mp4")})};
  EXPECT_THAT(HtmlReport(found, report, {{}, "/home/me/pages/", {}}),
              HasSubstr("<a href=\"../../../media/card%201/a%25%22%3C%FF.mp4\"><bdi>"));
  EXPECT_THAT(HtmlReport(found, report, {{}, "/media", {}}), HasSubstr("<a href=\"card%201/a"));
  EXPECT_THAT(HtmlReport(found, report, {}), Not(HasSubstr("<a href=\"card")));
}

TEST(HtmlReport, SaysWhenItWasMadeIfSomebodyTells) {
  EXPECT_THAT(HtmlReport({}, {}, {{}, {}, "2024-05-06 07:08"}),
              HasSubstr("made <time datetime=\"2024-05-06 07:08\">"));
}

TEST(HtmlReport, HoldsAPictureThatSeveralClipsHaveOnce) {
  SequenceClip clip = ClipAt("a");
  clip.card.thumbnail = {0xFF, 0xD8, 0xFF, 0xD9};
  clip.card.width = 160;
  clip.card.height = 90;
  ScanReport report;
  report.sequences = {SequenceOf({clip}), SequenceOf({clip})};
  const std::string page = HtmlReport({}, report, {});
  EXPECT_EQ(1u, Occurrences(page, "data:image/jpeg"));
  EXPECT_EQ(2u, Occurrences(page, "<use href=\"#picture-1\"/>"));
  EXPECT_EQ(0u, Occurrences(page, "<img"));
}

TEST(HtmlReport, FoldsManyCardsAway) {
  FoundClips found;
  for (int i = 0; i < 20; ++i) found.volumes.push_back({"/card" + std::to_string(i), {}});
  EXPECT_THAT(HtmlReport(found, {}, {}), Not(HasSubstr("<details")));
  found.volumes.push_back({"/one more", {}});
  EXPECT_THAT(HtmlReport(found, {}, {}), HasSubstr("<summary>21 cards</summary>"));
}

TEST(HtmlReport, TellsOfCopies) {
  ScanReport report;
  report.sequences = {SequenceOf({ClipAt("a")}), SequenceOf({ClipAt("b")})};
  report.sequences[1].copyOf = 0;
  const std::string page = HtmlReport({}, report, {});
  EXPECT_THAT(page, HasSubstr("a copy of <a href=\"#sequence-1\">recording 1</a>"));
  EXPECT_THAT(page, HasSubstr("data-copy-of=\"1\""));
}

TEST(HtmlReport, DrawsProposalsAsTiesOnTheLine) {
  ScanReport report;
  report.sequences = {SequenceOf({ClipAt("a")}), SequenceOf({ClipAt("b")})};
  report.sequences[1].date->minute = 40;
  Proposal proposal;
  proposal.grade = Grade::kLikely;
  proposal.clips = {"a", "b"};
  proposal.sequences = {0, 1};
  proposal.evidence = {{EvidenceKind::kClock, true, "b begins when <a> ends"}};
  const std::string page = HtmlReport({}, report, {}, {proposal});
  EXPECT_EQ(1u, Occurrences(page, "class=\"tie\""));
  EXPECT_THAT(page, HasSubstr("<a href=\"#proposal-1\">"));
  EXPECT_THAT(page, HasSubstr("data-kind=\"clock\" data-agrees=\"true\""));
  EXPECT_THAT(page, HasSubstr("b begins when &lt;a&gt; ends"));
}

TEST(HtmlJoin, ShowsThePlanAndWhatCameOfIt) {
  JoinPlan plan;
  plan.jobs.resize(2);
  plan.jobs[0].inputs = {"/card/<1>.mp4"};
  plan.jobs[0].output = "/out/a.mp4";
  plan.jobs[1].inputs = {"/card/2.mp4"};
  plan.jobs[1].leftOut = LeftOut::kIncomplete;
  plan.findings = {MakeFinding(Message::kInputUnreadable, "/card/3.mp4", "can't be <read>")};
  std::string page = HtmlJoin(plan, nullptr, {"/out", "/", {}});
  EXPECT_THAT(page, HasSubstr("<h1>What would be joined</h1>"));
  EXPECT_THAT(page, HasSubstr("data-number=\"1\" data-left-out=\"\" data-outcome=\"\" "
                              "data-output=\"/out/a.mp4\""));
  EXPECT_THAT(page, HasSubstr("data-left-out=\"incomplete\""));
  EXPECT_THAT(page, HasSubstr("can&#39;t be &lt;read&gt;"));
  EXPECT_THAT(page, HasSubstr("&lt;1&gt;.mp4"));
  JoinReport report;
  report.jobs.resize(2);
  report.jobs[0].outcome = Outcome::kFailed;
  report.jobs[1].outcome = Outcome::kLeftOut;
  page = HtmlJoin(plan, &report, {"/out", "/", {}});
  EXPECT_THAT(page, HasSubstr("<h1>What was joined</h1>"));
  EXPECT_THAT(page, HasSubstr("data-outcome=\"failed\""));
  EXPECT_THAT(page, HasSubstr("class=\"attention grave\" data-kind=\"failed\""));
  EXPECT_THAT(page, HasSubstr("0 of 2"));
}
