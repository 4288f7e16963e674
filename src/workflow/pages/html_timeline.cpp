#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <queue>
#include <set>
#include <tuple>
#include <utility>

#include "clip/mp4_util.h"
#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

constexpr double kDay = 86400;
constexpr int kMostSteps = 5;
constexpr std::size_t kMostParted = 40;  // clips of a bar between which there is a gap to see
// What a bar takes at least when lanes are given out, in shares of the line: as much as its number.
constexpr double kLeastShare = 0.07;

// A sequence on the line. Times are seconds since the start of year 0.
struct Bar {
  const SequenceReport* sequence;
  std::size_t number;
  double start;
  double end;
  std::size_t lane = 0;
};

struct Scale {
  double start;
  double end;
  double step;

  double Percent(double time) const { return (time - start) / (end - start) * 100; }
};

double TimeOf(const MP4G::_tagSequenceTimedate& date) {
  return static_cast<double>(MP4G::CMp4Util::CalcurateTimeFromEra(
      date.year, date.month, date.day, date.hour, date.minute, date.second));
}

// A step that reads well and leaves few of them.
double StepFor(double span) {
  static constexpr double kSteps[] = {1,   2,   5,    10,   15,   30,    60,    120,  300,
                                      600, 900, 1800, 3600, 7200, 10800, 21600, 43200};
  for (const double step : kSteps) {
    if (span <= step * kMostSteps) return step;
  }
  return std::ceil(span / kMostSteps / kDay) * kDay;
}

Scale ScaleFor(const std::vector<Bar>& bars) {
  double start = bars.front().start;
  double end = start + 1;
  for (const Bar& bar : bars) {
    start = std::min(start, bar.start);
    end = std::max(end, bar.end);
  }
  double step = StepFor(end - start);
  // Rounding both ends outwards may make one step more than there is room for.
  if (std::ceil(end / step) - std::floor(start / step) > kMostSteps) step = StepFor(step * 5.5);
  return {std::floor(start / step) * step, std::ceil(end / step) * step, step};
}

// The first lane that is free again, for each bar in the order of time.
std::size_t GiveLanes(std::vector<Bar>& bars, const Scale& scale) {
  std::stable_sort(bars.begin(), bars.end(),
                   [](const Bar& a, const Bar& b) { return a.start < b.start; });
  using Taken = std::pair<double, std::size_t>;  // until when, and the lane
  std::priority_queue<Taken, std::vector<Taken>, std::greater<>> taken;
  std::set<std::size_t> free;
  std::size_t lanes = 0;
  const double least = (scale.end - scale.start) * kLeastShare;
  for (Bar& bar : bars) {
    for (; !taken.empty() && taken.top().first <= bar.start; taken.pop())
      free.insert(taken.top().second);
    if (free.empty()) free.insert(lanes++);
    bar.lane = *free.begin();
    free.erase(free.begin());
    taken.push({std::max(bar.end, bar.start + least), bar.lane});
  }
  return lanes;
}

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
    // On a narrow screen some labels would run into each other.
    const bool minor = (steps == 4 && i % 2 == 1) || (steps > 4 && (i == 1 || i == steps - 1));
    const char* const where = i == 0 ? " first" : i == steps ? " last" : minor ? " minor" : "";
    const double time = scale.start + i * scale.step;
    html += fmt::format("<div class=\"tick{}\" style=\"left:{:.3f}%\"><span>{}</span></div>\n",
                        where, scale.Percent(time), ClockWords(time, scale));
  }
  return html;
}

std::string BarItem(const Bar& bar, const Scale& scale) {
  const SequenceReport& sequence = *bar.sequence;
  const double left = scale.Percent(bar.start);
  return fmt::format(
      "<li style=\"left:{:.3f}%;width:{:.3f}%;--lane:{}\"><a class=\"bar\" "
      "href=\"#sequence-{}\"><span class=\"name\"><span class=\"hidden\">Sequence </span>{}</span>"
      "{}<span class=\"hidden\">, {}, {}, {}, {}</span></a></li>\n",
      left, scale.Percent(bar.end) - left, bar.lane, bar.number, bar.number,
      HtmlStrip(sequence, "span"), DateWords(sequence.date), LengthWords({&sequence}),
      Counted(sequence.clips.size(), "clip"),
      StateWords(sequence.closedAtHead, sequence.closedAtTail));
}

// In the order of the calendar.
using Day = std::tuple<unsigned int, unsigned int, unsigned int>;

std::string DayPart(const Day& day, std::vector<Bar>& bars) {
  const Scale scale = ScaleFor(bars);
  const std::size_t lanes = GiveLanes(bars, scale);
  std::vector<const SequenceReport*> sequences;
  for (const Bar& bar : bars) sequences.push_back(bar.sequence);
  const std::string name =
      fmt::format("{:04}-{:02}-{:02}", std::get<0>(day), std::get<1>(day), std::get<2>(day));
  std::string html = fmt::format(
      "<div class=\"day\">\n<h3><time datetime=\"{0}\">{0}</time> <span>{1}, {2}</span></h3>\n"
      "<div class=\"scale\">\n<ol class=\"lanes\" style=\"--lanes:{3}\">\n",
      name, Counted(bars.size(), "sequence"), LengthWords(sequences), lanes);
  for (const Bar& bar : bars) html += BarItem(bar, scale);
  return html + "</ol>\n<div aria-hidden=\"true\">\n" + Ticks(scale) + "</div>\n</div>\n</div>\n";
}

std::string UndatedPart(const std::vector<Bar>& bars) {
  std::string html =
      fmt::format("<div class=\"day\">\n<h3>Without a date <span>{}</span></h3>\n<ul>\n",
                  Counted(bars.size(), "sequence"));
  for (const Bar& bar : bars) {
    html += fmt::format("<li><a href=\"#sequence-{0}\">Sequence {0}</a>, {1}</li>\n", bar.number,
                        LengthWords({bar.sequence}));
  }
  return html + "</ul>\n</div>\n";
}

}  // namespace

std::string HtmlStrip(const SequenceReport& sequence, const char* tag) {
  const double known = KnownSeconds(sequence);
  std::string html = fmt::format("<{} class=\"strip{}\" aria-hidden=\"true\">", tag,
                                 sequence.clips.size() > kMostParted ? " many" : "");
  if (!sequence.closedAtHead) html += "<i class=\"torn head\"></i>";
  for (const SequenceClip& clip : sequence.clips) {
    const double share = known > 0 ? Seconds(clip).value_or(0) / known : 1;
    const bool start = &clip == &sequence.clips.front() && sequence.closedAtHead;
    const bool end = &clip == &sequence.clips.back() && sequence.closedAtTail;
    html += fmt::format("<b class=\"piece {}{}{}\" style=\"flex-grow:{:.3f}\"></b>",
                        VolumeClasses(clip.volume), start ? " start" : "", end ? " end" : "",
                        std::max(share * 1000, 0.1));
  }
  if (!sequence.closedAtTail) html += "<i class=\"torn tail\"></i>";
  return html + fmt::format("</{}>", tag);
}

std::string HtmlTimeline(const ScanReport& report) {
  std::map<Day, std::vector<Bar>> days;
  std::vector<Bar> undated;
  std::size_t number = 0;
  for (const SequenceReport& sequence : report.sequences) {
    ++number;
    if (!sequence.date) {
      undated.push_back({&sequence, number, 0, 0});
      continue;
    }
    const double start = TimeOf(*sequence.date);
    days[{sequence.date->year, sequence.date->month, sequence.date->day}].push_back(
        {&sequence, number, start, start + KnownSeconds(sequence)});
  }
  if (number == 0) return "";
  std::string html =
      "<section aria-labelledby=\"time-line\">\n<h2 id=\"time-line\">Time line</h2>\n"
      "<div class=\"panel\">\n";
  for (auto& [day, bars] : days) html += DayPart(day, bars);
  if (!undated.empty()) html += UndatedPart(undated);
  return html + "</div>\n</section>\n";
}

}  // namespace clipchain
