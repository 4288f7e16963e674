#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <queue>
#include <set>
#include <tuple>
#include <utility>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_halves.h"
#include "workflow/pages/html_page.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

constexpr double kDay = 86400;
constexpr int kMostSteps = 8;
// Clips of a bar between which there is a gap to see, and what each takes then at least, in percent
// of the line: gaps between narrower ones would be all that is left of the bar.
constexpr std::size_t kMostParted = 40;
constexpr double kLeastParted = 0.8;
// What the number of a bar takes at least, in shares of the line on a narrow screen: for itself,
// and for each of its digits.
constexpr double kNumberShare = 0.04;
constexpr double kDigitShare = 0.03;
// From where on a bar grows towards the front, so that its number stays on the page.
constexpr double kLate = 80;

// A recording on the line of its day. Times are seconds of that day.
struct Bar {
  const SequenceReport* sequence;
  std::size_t number;
  double start;
  double end;
  // What hangs together by dashes; 0: nothing.
  std::size_t group = 0;
};

// Bars that share a lane: those of a group, or one alone.
struct Row {
  std::vector<Bar> bars;
  double start = 0;
  double end = 0;
  // The bars have one number together: there is no room for each.
  bool crowded = false;
  std::size_t lane = 0;
};

// What hangs together, by index of the recording.
struct Groups {
  std::map<std::size_t, std::size_t> of;
  // Of each group, for the eye: its grade; empty for halves.
  std::vector<std::string> names{""};
  // Where it leads; empty for halves.
  std::vector<std::string> links{""};
};

struct Scale {
  double start;
  double end;
  double step;

  double Percent(double time) const { return (time - start) / (end - start) * 100; }
};

// A step that reads well and leaves few of them.
double StepFor(double span) {
  static constexpr double kSteps[] = {1,   2,   5,    10,   15,   30,    60,    120,  300,
                                      600, 900, 1800, 3600, 7200, 10800, 21600, 43200};
  for (const double step : kSteps) {
    if (span <= step * kMostSteps) return step;
  }
  return std::ceil(span / kMostSteps / kDay) * kDay;
}

// One for all days, so that what looks as long is as long.
Scale ScaleFor(const std::vector<Bar>& bars) {
  double start = bars.front().start;
  double end = start + 1;
  for (const Bar& bar : bars) {
    start = std::min(start, bar.start);
    end = std::max(end, bar.end);
  }
  double step = StepFor(end - start);
  // Rounding both ends outwards may make one step more than there is room for.
  if (std::ceil(end / step) - std::floor(start / step) > kMostSteps)
    step = StepFor(step * (kMostSteps + 0.5));
  return {std::floor(start / step) * step, std::ceil(end / step) * step, step};
}

// What so many characters take, as time.
double LengthOf(std::size_t characters, const Scale& scale) {
  return (scale.end - scale.start) * (kNumberShare + kDigitShare * static_cast<double>(characters));
}
double LeastLength(const Bar& bar, const Scale& scale) {
  return LengthOf(std::to_string(bar.number).size(), scale);
}

// "5, 6" or "5 to 9": the recordings of a row.
std::string NumbersOf(const std::vector<Bar>& bars) {
  return fmt::format("{}{}{}", bars.front().number, bars.size() == 2 ? ", " : " to ",
                     bars.back().number);
}

Row RowOf(std::vector<Bar> bars, const Scale& scale, const Groups& groups) {
  std::stable_sort(bars.begin(), bars.end(),
                   [](const Bar& a, const Bar& b) { return a.start < b.start; });
  Row row{bars, bars.front().start, bars.front().start};
  for (const Bar& bar : bars) {
    row.crowded = row.crowded || row.end > bar.start;
    row.end = std::max({row.end, bar.end, bar.start + LeastLength(bar, scale)});
  }
  row.crowded = row.crowded && bars.size() > 1;
  if (!row.crowded) return row;
  const std::size_t label = NumbersOf(bars).size() + groups.names[bars.front().group].size();
  row.end = std::max(row.end, row.start + LengthOf(label, scale));
  return row;
}

std::vector<Row> RowsOf(const std::vector<Bar>& bars, const Scale& scale, const Groups& groups) {
  std::vector<Row> rows;
  std::map<std::size_t, std::vector<Bar>> tied;
  for (const Bar& bar : bars) {
    if (bar.group == 0)
      rows.push_back(RowOf({bar}, scale, groups));
    else
      tied[bar.group].push_back(bar);
  }
  for (const auto& [group, together] : tied) rows.push_back(RowOf(together, scale, groups));
  return rows;
}

// The first lane that is free again, for each row in the order of time.
std::size_t GiveLanes(std::vector<Row>& rows) {
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Row& a, const Row& b) { return a.start < b.start; });
  // Until when, and the lane.
  using Taken = std::pair<double, std::size_t>;
  std::priority_queue<Taken, std::vector<Taken>, std::greater<>> taken;
  std::set<std::size_t> free;
  std::size_t lanes = 0;
  for (Row& row : rows) {
    for (; !taken.empty() && taken.top().first <= row.start; taken.pop())
      free.insert(taken.top().second);
    if (free.empty()) free.insert(lanes++);
    row.lane = *free.begin();
    free.erase(free.begin());
    taken.push({row.end, row.lane});
  }
  return lanes;
}

// What runs past midnight stands behind it, and counts on.
std::string ClockWords(double time, const Scale& scale) {
  if (scale.step >= kDay) return fmt::format("+{:.0f} d", (time - scale.start) / kDay);
  const auto second = static_cast<unsigned int>(std::fmod(time, kDay));
  const std::string minutes = fmt::format("{:02}:{:02}", second / 3600, second / 60 % 60);
  return scale.step < 60 ? fmt::format("{}:{:02}", minutes, second % 60) : minutes;
}

std::string Ticks(const Scale& scale) {
  std::string html;
  const int steps = static_cast<int>(std::lround((scale.end - scale.start) / scale.step));
  for (int i = 0; i <= steps; ++i) {
    // On a narrow screen labels would run into each other.
    const bool minor = steps > 3 && i % 2 == 1;
    const char* const where = i == 0 ? " first" : i == steps ? " last" : minor ? " minor" : "";
    const double time = scale.start + i * scale.step;
    html += fmt::format("<div class=\"tick{}\" style=\"left:{:.3f}%\"><span>{}</span></div>\n",
                        where, scale.Percent(time), ClockWords(time, scale));
  }
  return html;
}

// Where something stands on the line; what begins late is held at its end.
std::string PlaceOn(const Scale& scale, double start, double end, std::size_t lane) {
  const double left = scale.Percent(start);
  const double width = scale.Percent(end) - left;
  const bool late = left > kLate;
  return fmt::format("{}:{:.3f}%;width:{:.3f}%;--lane:{}", late ? "right" : "left",
                     late ? std::max(0.0, 100 - left - width) : left, width, lane);
}

std::string BarItem(const Bar& bar, const Row& row, const Scale& scale) {
  const SequenceReport& sequence = *bar.sequence;
  const char* const late = scale.Percent(bar.start) > kLate ? " class=\"late\"" : "";
  return fmt::format(
      "<li{} style=\"{}\"><a class=\"bar\" href=\"#sequence-{}\"><span class=\"{}\"><span "
      "class=\"hidden\">Recording </span>{}</span>{}<span class=\"hidden\">, {}, {}, {}, "
      "{}</span></a></li>\n",
      row.crowded ? " class=\"in-tie\"" : late, PlaceOn(scale, bar.start, bar.end, row.lane),
      bar.number, row.crowded ? "hidden" : "name", bar.number,
      HtmlStrip(sequence, "span", scale.Percent(bar.end) - scale.Percent(bar.start)),
      DateWords(sequence.date), LengthWords({&sequence}), Counted(sequence.clips.size(), "clip"),
      StateWords(IsIdentified(sequence), sequence.closedAtHead, sequence.closedAtTail));
}

// The dashes between the bars of a group, and what the group is.
std::string TieItem(const Row& row, const Scale& scale, const Groups& groups) {
  if (row.bars.size() < 2) return "";
  const std::size_t group = row.bars.front().group;
  const std::string& name = groups.names[group];
  const bool late = scale.Percent(row.start) > kLate;
  std::string words;
  if (row.crowded) words = NumbersOf(row.bars);
  if (!name.empty()) words += (words.empty() ? "" : " ") + name;
  std::string hidden = name.empty() ? "One clip is missing between these: " : "Proposal: ";
  const std::string& target = groups.links[group];
  const std::string link =
      target.empty() ? fmt::format("#sequence-{}", row.bars.front().number) : target;
  return fmt::format(
      "<li class=\"tie{}{}\" style=\"{}\"><a href=\"{}\"><span "
      "class=\"hidden\">{}</span>{}</a></li>\n",
      row.crowded ? " crowded" : "", late ? " late" : "",
      PlaceOn(scale, row.start, std::max(row.bars.back().start, row.start), row.lane), link, hidden,
      words.empty() ? "<span class=\"hidden\">" + NumbersOf(row.bars) + "</span>" : words);
}

// In the order of the calendar.
using Day = std::tuple<unsigned int, unsigned int, unsigned int>;

std::string DayPart(const Day& day, const std::vector<Bar>& bars, const Scale& scale,
                    const Groups& groups) {
  std::vector<Row> rows = RowsOf(bars, scale, groups);
  const std::size_t lanes = GiveLanes(rows);
  std::vector<const SequenceReport*> sequences;
  for (const Bar& bar : bars) sequences.push_back(bar.sequence);
  const std::string name =
      fmt::format("{:04}-{:02}-{:02}", std::get<0>(day), std::get<1>(day), std::get<2>(day));
  std::string html = fmt::format(
      "<div class=\"day\">\n<h3><time datetime=\"{0}\">{0}</time> <span>{1}, {2}</span></h3>\n"
      "<div class=\"scale\">\n<ol class=\"lanes\" style=\"--lanes:{3}\">\n",
      name, Counted(bars.size(), "recording"), LengthWords(sequences), lanes);
  for (const Row& row : rows) {
    html += TieItem(row, scale, groups);
    for (const Bar& bar : row.bars) html += BarItem(bar, row, scale);
  }
  return html + "</ol>\n<div aria-hidden=\"true\">\n" + Ticks(scale) + "</div>\n</div>\n</div>\n";
}

// Halves first: what identifiers say is never told as a guess.
Groups GroupsOf(const ScanReport& report, const std::vector<Proposal>& proposals) {
  Groups groups;
  const std::map<std::size_t, std::size_t> halves = FindHalves(report);
  for (const auto& [front, behind] : halves) {
    const auto known = groups.of.find(front);
    std::size_t group = known != groups.of.end() ? known->second : groups.names.size();
    if (const auto other = groups.of.find(behind); other != groups.of.end()) group = other->second;
    if (group == groups.names.size()) {
      groups.names.emplace_back();
      groups.links.emplace_back();
    }
    for (const std::size_t i : {front, behind}) groups.of.try_emplace(i, group);
  }
  std::size_t number = 0;
  for (const Proposal& proposal : proposals) {
    ++number;
    const bool isFree = std::none_of(proposal.sequences.begin(), proposal.sequences.end(),
                                     [&](std::size_t i) { return groups.of.count(i) != 0; });
    if (!isFree || proposal.sequences.size() < 2) continue;
    for (const std::size_t i : proposal.sequences) groups.of[i] = groups.names.size();
    groups.names.emplace_back(GradeName(proposal.grade));
    groups.links.push_back(fmt::format("#proposal-{}", number));
  }
  return groups;
}

std::string UndatedPart(const std::vector<Bar>& bars) {
  std::string html = fmt::format(
      "<div class=\"day\">\n<h3>Without a date <span>{}</span></h3>\n<ul "
      "class=\"undated\">\n",
      Counted(bars.size(), "recording"));
  for (const Bar& bar : bars) {
    html += fmt::format("<li>{}, {}</li>\n", RecordingLink(bar.number - 1, "Recording"),
                        LengthWords({bar.sequence}));
  }
  return html + "</ul>\n</div>\n";
}

// A part of a bar: a clip, or those in a row that lie on one card.
struct Piece {
  unsigned int volume;
  double share;
};

std::vector<Piece> PiecesOf(const SequenceReport& sequence, bool parted) {
  const double known = KnownSeconds(sequence);
  std::vector<Piece> pieces;
  for (const SequenceClip& clip : sequence.clips) {
    const double share = known > 0 ? Seconds(clip).value_or(0) / known : 1;
    if (!parted && !pieces.empty() && pieces.back().volume == clip.volume)
      pieces.back().share += share;
    else
      pieces.push_back({clip.volume, share});
  }
  return pieces;
}

}  // namespace

std::string HtmlStrip(const SequenceReport& sequence, const char* tag, double percent) {
  const std::size_t clips = sequence.clips.size();
  const bool parted = clips <= kMostParted && static_cast<double>(clips) * kLeastParted <= percent;
  std::string html =
      fmt::format("<{} class=\"strip{}\" aria-hidden=\"true\">", tag, parted ? "" : " many");
  if (!sequence.closedAtHead) html += "<i class=\"torn head\"></i>";
  const std::vector<Piece> pieces = PiecesOf(sequence, parted);
  for (const Piece& piece : pieces) {
    const bool start = &piece == &pieces.front() && sequence.closedAtHead;
    const bool end = &piece == &pieces.back() && sequence.closedAtTail;
    html += fmt::format("<b class=\"piece {}{}{}\" style=\"flex-grow:{:.3f}\"></b>",
                        CardClasses(piece.volume), start ? " start" : "", end ? " end" : "",
                        std::max(piece.share * 1000, 0.1));
  }
  if (!sequence.closedAtTail) html += "<i class=\"torn tail\"></i>";
  return html + fmt::format("</{}>", tag);
}

std::string HtmlTimeline(const ScanReport& report, const std::vector<Proposal>& proposals) {
  const Groups groups = GroupsOf(report, proposals);
  std::map<Day, std::vector<Bar>> days;
  std::vector<Bar> dated;
  std::vector<Bar> undated;
  for (std::size_t i = 0; i < report.sequences.size(); ++i) {
    const SequenceReport& sequence = report.sequences[i];
    if (!sequence.date) {
      undated.push_back({&sequence, i + 1, 0, 0});
      continue;
    }
    const auto& date = *sequence.date;
    const double start = date.hour * 3600.0 + date.minute * 60.0 + date.second;
    const auto group = groups.of.find(i);
    dated.push_back({&sequence, i + 1, start, start + KnownSeconds(sequence),
                     group == groups.of.end() ? 0 : group->second});
    days[{date.year, date.month, date.day}].push_back(dated.back());
  }
  if (dated.empty() && undated.empty()) return "";
  std::string html = "<div class=\"panel line\">\n";
  if (!dated.empty()) {
    const Scale scale = ScaleFor(dated);
    for (const auto& [day, bars] : days) html += DayPart(day, bars, scale, groups);
  }
  if (!undated.empty()) html += UndatedPart(undated);
  return HtmlSection("time-line", "Time line", html + "</div>\n");
}

}  // namespace clipchain
