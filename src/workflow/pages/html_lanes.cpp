#include "workflow/pages/html_lanes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <queue>
#include <set>
#include <utility>

namespace clipchain {

namespace {

constexpr int kMostSteps = 8;
// What the number of a bar takes at least, in shares of the line on a narrow screen: for itself,
// and for each of its digits.
constexpr double kNumberShare = 0.04;
constexpr double kDigitShare = 0.03;

// A step that reads well and leaves few of them.
double StepFor(double span) {
  static constexpr double kSteps[] = {1,   2,   5,    10,   15,   30,    60,    120,  300,
                                      600, 900, 1800, 3600, 7200, 10800, 21600, 43200};
  for (const double step : kSteps) {
    if (span <= step * kMostSteps) return step;
  }
  return std::ceil(span / kMostSteps / kSecondsOfDay) * kSecondsOfDay;
}

// What so many characters take, as time.
double LengthOf(std::size_t characters, const TimeScale& scale) {
  return (scale.end - scale.start) * (kNumberShare + kDigitShare * static_cast<double>(characters));
}
double LeastLength(const TimeBar& bar, const TimeScale& scale) {
  return LengthOf(std::to_string(bar.number).size(), scale);
}

TimeRow RowOf(std::vector<TimeBar> bars, const TimeScale& scale, const Ties& ties) {
  std::stable_sort(bars.begin(), bars.end(),
                   [](const TimeBar& a, const TimeBar& b) { return a.start < b.start; });
  TimeRow row{bars, bars.front().start, bars.front().start};
  for (const TimeBar& bar : bars) {
    // Each is drawn as wide as its number at least, and would lie on the one behind it.
    row.crowded = row.crowded || row.end > bar.start;
    row.end = std::max({row.end, bar.end, bar.start + LeastLength(bar, scale)});
  }
  row.crowded = row.crowded && bars.size() > 1;
  if (!row.crowded) return row;
  const std::size_t label = NumbersOf(bars).size() + ties.names[bars.front().tie].size();
  row.end = std::max(row.end, row.start + LengthOf(label, scale));
  return row;
}

}  // namespace

TimeScale ScaleFor(const std::vector<TimeBar>& bars) {
  double start = bars.front().start;
  double end = start + 1;
  for (const TimeBar& bar : bars) {
    start = std::min(start, bar.start);
    end = std::max(end, bar.end);
  }
  double step = StepFor(end - start);
  // Rounding both ends outwards may make one step more than there is room for.
  if (std::ceil(end / step) - std::floor(start / step) > kMostSteps)
    step = StepFor(step * (kMostSteps + 0.5));
  return {std::floor(start / step) * step, std::ceil(end / step) * step, step};
}

std::string NumbersOf(const std::vector<TimeBar>& bars) {
  return fmt::format("{}{}{}", bars.front().number, bars.size() == 2 ? ", " : " to ",
                     bars.back().number);
}

std::vector<TimeRow> RowsOf(const std::vector<TimeBar>& bars, const TimeScale& scale,
                            const Ties& ties) {
  std::vector<TimeRow> rows;
  std::map<std::size_t, std::vector<TimeBar>> tied;
  for (const TimeBar& bar : bars) {
    if (bar.tie == 0)
      rows.push_back(RowOf({bar}, scale, ties));
    else
      tied[bar.tie].push_back(bar);
  }
  for (const auto& [tie, together] : tied) rows.push_back(RowOf(together, scale, ties));
  return rows;
}

std::size_t GiveLanes(std::vector<TimeRow>& rows) {
  std::stable_sort(rows.begin(), rows.end(),
                   [](const TimeRow& a, const TimeRow& b) { return a.start < b.start; });
  // Until when, and the lane.
  using Taken = std::pair<double, std::size_t>;
  std::priority_queue<Taken, std::vector<Taken>, std::greater<>> taken;
  std::set<std::size_t> free;
  std::size_t lanes = 0;
  for (TimeRow& row : rows) {
    for (; !taken.empty() && taken.top().first <= row.start; taken.pop())
      free.insert(taken.top().second);
    if (free.empty()) free.insert(lanes++);
    row.lane = *free.begin();
    free.erase(free.begin());
    taken.push({row.end, row.lane});
  }
  return lanes;
}

}  // namespace clipchain
