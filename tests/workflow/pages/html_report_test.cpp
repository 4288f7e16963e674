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
#include "workflow/pages/html_parts.h"

using namespace clipchain;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};

SequenceClip ClipAt(const std::string& path, unsigned int volume = 0, long long duration = 2560) {
  SequenceClip clip{};
  clip.path = path;
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
  report.rejected = {{name, E_BAD_TYPE}};
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

TEST(HtmlReport, HasEveryTagClosed) {
  static const std::set<std::string> kVoid = {"meta", "img", "path", "use", "rect"};
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
    EXPECT_THAT(PageWith(name), Not(HasSubstr("<script")));
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
  EXPECT_THAT(page, Not(HasSubstr("<script")));
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
  EXPECT_THAT(page, HasSubstr("<h1>1 sequence on 1 volume</h1>"));
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
  EXPECT_THAT(page, HasSubstr("no thumbnail"));
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
              HasSubstr("<img alt=\"Thumbnail of &lt;C1&gt;.MP4\" width=\"160\" height=\"90\" "
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
    const std::regex bar(R"(left:([0-9.]+)%;width:([0-9.]+)%;--lane:([0-9]+))");
    std::vector<double> freeFrom;
    double before = 0;
    std::size_t bars = 0;
    for (std::sregex_iterator at(page.begin(), page.end(), bar), end; at != end; ++at, ++bars) {
      constexpr double kRounding = 0.002;
      constexpr double kLeast = 7;
      const double left = std::stod((*at)[1]);
      EXPECT_LE(before, left);
      before = left;
      std::size_t lane = 0;
      while (lane < freeFrom.size() && freeFrom[lane] > left + kRounding) ++lane;
      ASSERT_EQ(std::to_string(lane), (*at)[3].str()) << page;
      freeFrom.resize(std::max(freeFrom.size(), lane + 1));
      freeFrom[lane] = left + std::max(std::stod((*at)[2]), kLeast);
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
      page.find("<h3><time datetime=\"2024-05-05\">2024-05-05</time> <span>1 sequence, 2 min"),
      page.find("<h3><time datetime=\"2024-05-06\">2024-05-06</time> <span>2 sequences, 4 min"));
  EXPECT_THAT(page, HasSubstr("--lanes:2"));
  EXPECT_THAT(page, HasSubstr("left:0.000%;width:66.667%;--lane:0\"><a class=\"bar\" "
                              "href=\"#sequence-1\""));
  EXPECT_THAT(page, HasSubstr("left:33.333%;width:66.667%;--lane:1\"><a class=\"bar\" "
                              "href=\"#sequence-2\""));
  EXPECT_THAT(page, HasSubstr("<span>07:00</span>"));
  EXPECT_THAT(page, HasSubstr("<a href=\"#sequence-4\">Sequence 4</a>, 2.6 s"));
  EXPECT_THAT(page, HasSubstr("date unknown"));
}

TEST(HtmlReport, TakesDatesAndDurationsThatMakeNoSense) {
  ScanReport report;
  for (const long long duration : {0LL, 1LL, 1LL << 40, 9'223'372'036'854'775'807LL}) {
    report.sequences.push_back(SequenceOf({ClipAt("a", 0, duration)}));
    report.sequences.back().date = {65535, 255, 255, 255, 255, 255};
  }
  const std::string page = HtmlReport({}, report, {});
  EXPECT_GE(6u, Occurrences(page, "<div class=\"tick"));
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
  std::string page = HtmlReport({}, report, options);
  EXPECT_THAT(page, HasSubstr("data-step=\"salvage\" data-result=\"S_OK\" data-joined=\"true\">"));
  EXPECT_THAT(page, HasSubstr("data-step=\"division\" data-result=\"S_OK\""));
  EXPECT_THAT(page, HasSubstr("No clips"));
  report.joined = false;
  report.salvaged = E_BAD_DATA;
  report.divided = E_POINTER;
  page = HtmlReport({}, report, options);
  EXPECT_THAT(page, HasSubstr("the timecode can't be read (E_BAD_DATA)"));
  EXPECT_THAT(page, HasSubstr("data-step=\"division\" data-result=\"E_POINTER\""));
}

TEST(HtmlReport, SixtyFourVolumesAllLookDifferent) {
  std::set<std::string> looks;
  for (unsigned int volume = 0; volume < 64; ++volume) looks.insert(VolumeClasses(volume));
  EXPECT_EQ(64u, looks.size());
  // Neighbours differ in both, for those who see no colours or small shapes badly.
  EXPECT_EQ("c0 s0", VolumeClasses(0));
  EXPECT_EQ("c7 s7", VolumeClasses(7));
  EXPECT_EQ("c0 s1", VolumeClasses(8));
}
