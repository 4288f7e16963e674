#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_lanes.h"
#include "workflow/pages/html_page.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"
#include "workflow/pages/html_ties.h"

namespace clipchain {

namespace {

// From where on a bar grows towards the front, so that its number stays on the page.
constexpr double kLate = 80;

// What runs past midnight stands behind it, and counts on.
std::string ClockWords(double time, const TimeScale& scale) {
  if (scale.step >= kSecondsOfDay)
    return fmt::format("+{:.0f} d", (time - scale.start) / kSecondsOfDay);
  const auto second = static_cast<unsigned int>(std::fmod(time, kSecondsOfDay));
  const std::string minutes = fmt::format("{:02}:{:02}", second / 3600, second / 60 % 60);
  return scale.step < 60 ? fmt::format("{}:{:02}", minutes, second % 60) : minutes;
}

std::string Ticks(const TimeScale& scale) {
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
std::string PlaceOn(const TimeScale& scale, double start, double end, std::size_t lane) {
  const double left = scale.Percent(start);
  const double width = scale.Percent(end) - left;
  const bool late = left > kLate;
  return fmt::format("{}:{:.3f}%;width:{:.3f}%;--lane:{}", late ? "right" : "left",
                     late ? std::max(0.0, 100 - left - width) : left, width, lane);
}

std::string BarItem(const TimeBar& bar, const TimeRow& row, const TimeScale& scale) {
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

// The dashes between the bars of a tie, and what it is.
std::string TieItem(const TimeRow& row, const TimeScale& scale, const Ties& ties) {
  if (row.bars.size() < 2) return "";
  const std::size_t tie = row.bars.front().tie;
  const std::string& name = ties.names[tie];
  const bool late = scale.Percent(row.start) > kLate;
  std::string words;
  if (row.crowded) words = NumbersOf(row.bars);
  if (!name.empty()) words += (words.empty() ? "" : " ") + name;
  // For who can't see the dashes.
  std::string hidden = name.empty() ? "One clip is missing between these: " : "Proposal: ";
  const std::string& target = ties.links[tie];
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

std::string DayPart(const Day& day, const std::vector<TimeBar>& bars, const TimeScale& scale,
                    const Ties& ties) {
  std::vector<TimeRow> rows = RowsOf(bars, scale, ties);
  const std::size_t lanes = GiveLanes(rows);
  std::vector<const SequenceReport*> sequences;
  for (const TimeBar& bar : bars) sequences.push_back(bar.sequence);
  const std::string name =
      fmt::format("{:04}-{:02}-{:02}", std::get<0>(day), std::get<1>(day), std::get<2>(day));
  std::string html = fmt::format(
      "<div class=\"day\">\n<h3><time datetime=\"{0}\">{0}</time> <span>{1}, {2}</span></h3>\n"
      "<div class=\"scale\">\n<ol class=\"lanes\" style=\"--lanes:{3}\">\n",
      name, Counted(bars.size(), "recording"), LengthWords(sequences), lanes);
  for (const TimeRow& row : rows) {
    html += TieItem(row, scale, ties);
    for (const TimeBar& bar : row.bars) html += BarItem(bar, row, scale);
  }
  return html + "</ol>\n<div aria-hidden=\"true\">\n" + Ticks(scale) + "</div>\n</div>\n</div>\n";
}

std::string UndatedPart(const std::vector<TimeBar>& bars) {
  std::string html = fmt::format(
      "<div class=\"day\">\n<h3>Without a date <span>{}</span></h3>\n<ul "
      "class=\"undated\">\n",
      Counted(bars.size(), "recording"));
  for (const TimeBar& bar : bars) {
    html += fmt::format("<li>{}, {}</li>\n", RecordingLink(bar.number - 1, "Recording"),
                        LengthWords({bar.sequence}));
  }
  return html + "</ul>\n</div>\n";
}

}  // namespace

std::string HtmlTimeline(const ScanReport& report, const std::vector<Proposal>& proposals) {
  const Ties ties = FindTies(report, proposals);
  std::map<Day, std::vector<TimeBar>> days;
  std::vector<TimeBar> dated;
  std::vector<TimeBar> undated;
  for (std::size_t i = 0; i < report.sequences.size(); ++i) {
    const SequenceReport& sequence = report.sequences[i];
    if (!sequence.date) {
      undated.push_back({&sequence, i + 1, 0, 0});
      continue;
    }
    const auto& date = *sequence.date;
    const double start = date.hour * 3600.0 + date.minute * 60.0 + date.second;
    dated.push_back({&sequence, i + 1, start, start + KnownSeconds(sequence), ties.Of(i)});
    days[{date.year, date.month, date.day}].push_back(dated.back());
  }
  if (dated.empty() && undated.empty()) return "";
  std::string html = "<div class=\"panel line\">\n";
  if (!dated.empty()) {
    const TimeScale scale = ScaleFor(dated);
    for (const auto& [day, bars] : days) html += DayPart(day, bars, scale, ties);
  }
  if (!undated.empty()) html += UndatedPart(undated);
  return HtmlSection("time-line", "Time line", html + "</div>\n");
}

}  // namespace clipchain
