// Lays out the recordings of a day on a time line: how long each bar is, and in which lane it lies.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "workflow/pages/html_ties.h"

namespace clipchain {

inline constexpr double kSecondsOfDay = 86400;

// A recording on the line of its day. Times are seconds of that day.
struct TimeBar {
  const SequenceReport* sequence;
  std::size_t number;
  double start;
  double end;
  std::size_t tie = Ties::kNone;
};

// Bars that share a lane: those of a tie, or one alone.
struct TimeRow {
  std::vector<TimeBar> bars;
  double start = 0;
  double end = 0;
  // The bars have one number together: there is no room for each.
  bool crowded = false;
  std::size_t lane = 0;
};

// What a time line shows, in seconds of a day.
struct TimeScale {
  double start;
  double end;
  double step;

  double Percent(double time) const { return (time - start) / (end - start) * 100; }
};

// One for all days, so that what looks as long is as long.
TimeScale ScaleFor(const std::vector<TimeBar>& bars);

// "5, 6" or "5 to 9": the recordings of a row.
std::string NumbersOf(const std::vector<TimeBar>& bars);

// The rows of a day, each long enough for what is written on it.
std::vector<TimeRow> RowsOf(const std::vector<TimeBar>& bars, const TimeScale& scale,
                            const Ties& ties);

// Gives each row the first lane that is free again, in the order of time. How many lanes there are.
std::size_t GiveLanes(std::vector<TimeRow>& rows);

}  // namespace clipchain
