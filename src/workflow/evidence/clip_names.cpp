#include "workflow/evidence/clip_names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace clipchain {

namespace {

constexpr std::size_t kMostDigits = 9;
// A name has few numbers; of one with more, the last ones count.
constexpr std::size_t kMostRuns = 4;
constexpr std::uint64_t kLastNumber = 9999;

// Digits that stand together.
struct Run {
  std::size_t at = 0;
  std::size_t width = 0;
  // Of a run of up to 9 digits.
  std::uint64_t value = 0;
  bool isDate = false;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsYear(std::uint64_t n) { return n >= 1970 && n < 2100; }
bool IsDay(std::uint64_t n) {
  return n / 100 >= 1 && n / 100 <= 12 && n % 100 >= 1 && n % 100 <= 31;
}
bool IsTime(std::uint64_t n) { return n / 10000 <= 23 && n / 100 % 100 <= 59 && n % 100 <= 60; }

// Whether little enough stands between two runs for them to be parts of one date.
bool IsNear(const Run& a, const Run& b) { return b.at - (a.at + a.width) <= 1; }

// Marks the parts of a date that begins with that run; how many there are.
std::size_t MarkDate(std::vector<Run>& runs, std::size_t i) {
  const auto is = [&](std::size_t k, std::size_t width) {
    return k < runs.size() && runs[k].width == width && (k == i || IsNear(runs[k - 1], runs[k]));
  };
  const auto mark = [&](std::size_t count) {
    for (std::size_t k = i; k < i + count; ++k) runs[k].isDate = true;
    return count;
  };
  // Of a time behind the date.
  const auto time = [&](std::size_t k) -> std::size_t {
    if (is(k, 6) && IsTime(runs[k].value)) return 1;
    if (is(k, 9) && IsTime(runs[k].value / 1000)) return 1;
    return is(k, 2) && is(k + 1, 2) && is(k + 2, 2) ? 3 : 0;
  };
  const Run& run = runs[i];
  if (run.width >= 12) return mark(1);
  if (run.width == 8 && IsYear(run.value / 10000) && IsDay(run.value % 10000))
    return mark(1 + time(i + 1));
  if (is(i, 4) && IsYear(run.value) && is(i + 1, 2) && is(i + 2, 2) &&
      IsDay(runs[i + 1].value * 100 + runs[i + 2].value))
    return mark(3 + time(i + 3));
  if (is(i, 4) && IsYear(run.value) && is(i + 1, 4) && IsDay(runs[i + 1].value))
    return mark(2 + time(i + 2));
  if (is(i, 6) && is(i + 1, 6) && IsDay(run.value % 10000) && IsTime(runs[i + 1].value))
    return mark(2);
  // Seconds since 1970.
  if (run.width == 10) return mark(1);
  return 0;
}

std::vector<Run> RunsOf(std::string_view name) {
  // The end of the name tells its kind: "mp4".
  const std::string_view stem = name.substr(0, std::min(name.rfind('.'), name.size()));
  std::vector<Run> runs;
  for (std::size_t at = 0; at < stem.size();) {
    if (!IsDigit(stem[at])) {
      ++at;
      continue;
    }
    Run run{at, 0, 0, false};
    for (; at < stem.size() && IsDigit(stem[at]); ++at, ++run.width) {
      if (run.width < kMostDigits)
        run.value = run.value * 10 + static_cast<std::uint64_t>(stem[at] - '0');
    }
    runs.push_back(run);
  }
  for (std::size_t i = 0; i < runs.size();) i += std::max<std::size_t>(MarkDate(runs, i), 1);
  if (runs.size() > kMostRuns) runs.erase(runs.begin(), runs.end() - kMostRuns);
  return runs;
}

// How many digits of a run may count chapters, with four or more of a recording behind them.
std::size_t ChapterDigits(const Run& run) {
  if (run.width == 6 || run.width == 7) return run.width - 4;
  return run.width == 5 ? 1 : 0;
}

bool MayRun(const Run& run) { return !run.isDate && run.width <= kMostDigits; }

std::string WithNumber(std::string_view name, std::size_t at, std::size_t width,
                       std::uint64_t value) {
  return fmt::format("{}{:0{}}{}", name.substr(0, at), value, width, name.substr(at + width));
}

std::uint64_t Power(std::size_t digits) {
  std::uint64_t power = 1;
  for (; digits != 0; --digits) power *= 10;
  return power;
}

// Names equal but for one run of digits; null where they are not. A number may gain a digit if it
// has no zeros in front.
bool DifferInOne(std::string_view a, std::string_view b, Run& first, Run& second) {
  const std::vector<Run> runs = RunsOf(a);
  const std::vector<Run> others = RunsOf(b);
  if (runs.size() != others.size()) return false;
  std::size_t found = runs.size();
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const auto digits = [i](std::string_view name, const std::vector<Run>& of) {
      return name.substr(of[i].at, of[i].width);
    };
    if (digits(a, runs) == digits(b, others)) continue;
    if (found != runs.size()) return false;
    found = i;
  }
  if (found == runs.size()) return false;
  first = runs[found];
  second = others[found];
  return a.substr(0, first.at) == b.substr(0, second.at) &&
         a.substr(first.at + first.width) == b.substr(second.at + second.width);
}

}  // namespace

std::vector<NextName> NamesBehind(std::string_view name, unsigned int step) {
  std::vector<NextName> names;
  // Of a recording, in front of the run.
  bool hasNumber = false;
  for (const Run& run : RunsOf(name)) {
    if (!MayRun(run)) continue;
    if (const std::size_t digits = ChapterDigits(run); digits != 0) {
      const std::uint64_t chapter = run.value / Power(run.width - digits) + step;
      if (chapter < Power(digits))
        names.push_back({WithNumber(name, run.at, digits, chapter), true});
    }
    const std::uint64_t next = run.value + step;
    const bool padded = name[run.at] == '0';
    if (next < Power(run.width) || !padded)
      names.push_back({WithNumber(name, run.at, run.width, next), hasNumber});
    if (next > kLastNumber && run.value <= kLastNumber && (run.width == 4 || run.width == 5)) {
      const std::uint64_t anew = next - kLastNumber;
      names.push_back({WithNumber(name, run.at, run.width, anew), false});
      names.push_back({WithNumber(name, run.at, run.width, anew - 1), false});
    }
    hasNumber = true;
  }
  return names;
}

NumberOrder OrderOfNumbers(std::string_view before, std::string_view behind) {
  Run first;
  Run second;
  if (!DifferInOne(before, behind, first, second)) return NumberOrder::kNone;
  if (!MayRun(first) || !MayRun(second) || second.value == first.value) return NumberOrder::kNone;
  if (second.value > first.value) return NumberOrder::kRises;
  // As far as that it falls only when it begins anew.
  constexpr std::uint64_t kFar = 5000;
  const bool counts = first.width == 4 || first.width == 5;
  if (counts && first.value <= kLastNumber && first.value - second.value > kFar)
    return NumberOrder::kRises;
  const std::uint64_t recording = Power(first.width - ChapterDigits(first));
  const bool isNext = ChapterDigits(first) != 0 && first.width == second.width &&
                      second.value % recording > first.value % recording;
  return isNext ? NumberOrder::kNextRecording : NumberOrder::kFalls;
}

bool IsOfNextRecording(std::string_view before, std::string_view behind) {
  // The number in between may be that of a photo.
  constexpr std::uint64_t kMostAhead = 2;
  Run first;
  Run second;
  if (!DifferInOne(before, behind, first, second) || !MayRun(first) || !MayRun(second))
    return false;
  if (second.value <= first.value || second.value > first.value + kMostAhead) return false;
  if (ChapterDigits(first) != 0) return true;
  constexpr std::size_t kLeastOfRecording = 4;
  constexpr std::size_t kMostOfChapter = 3;
  const std::vector<Run> runs = RunsOf(before);
  const auto chapter = std::find_if(runs.begin(), runs.end(),
                                    [&first](const Run& run) { return run.at > first.at; });
  return first.width >= kLeastOfRecording && chapter != runs.end() && MayRun(*chapter) &&
         chapter->width <= kMostOfChapter;
}

bool AreOfTwoRecordings(std::string_view before, std::string_view behind) {
  constexpr std::size_t kLeastOfRecording = 4;
  constexpr std::size_t kMostOfChapter = 3;
  const std::vector<Run> runs = RunsOf(before);
  const std::vector<Run> others = RunsOf(behind);
  if (runs.size() != others.size()) return false;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (!MayRun(runs[i]) || !MayRun(others[i]) || runs[i].width != others[i].width) continue;
    const bool isBehind = i + 1 < runs.size() && MayRun(runs[i + 1]) &&
                          runs[i + 1].width <= kMostOfChapter && runs[i].width >= kLeastOfRecording;
    if (isBehind && runs[i].value != others[i].value) return true;
    if (runs[i].width != kLeastOfRecording + 2) continue;
    const std::uint64_t recording = Power(kLeastOfRecording);
    // Chapters are counted from 1 on: in front of 0 stands the number of a clip.
    const bool isChapter = runs[i].value >= recording && others[i].value >= recording;
    if (isChapter && runs[i].value % recording != others[i].value % recording) return true;
  }
  return false;
}

bool MayBeGiven(std::string_view name) {
  constexpr std::size_t kMostGivenDigits = 3;
  const std::vector<Run> runs = RunsOf(name);
  return runs.size() == 1 && runs[0].width <= kMostGivenDigits;
}

bool MayBeNumbered(std::string_view a, std::string_view b) {
  Run first;
  Run second;
  return DifferInOne(a, b, first, second) && MayRun(first) && MayRun(second) && first.width >= 2 &&
         second.width >= 2;
}

std::optional<RecordingName> RecordingNameOf(std::string_view name) {
  constexpr std::size_t kDigits = 4;
  constexpr std::size_t kChapterDigits = 2;
  const std::vector<Run> runs = RunsOf(name);
  if (runs.size() != 1 || !MayRun(runs[0])) return std::nullopt;
  if (runs[0].width != kDigits && runs[0].width != kDigits + kChapterDigits) return std::nullopt;
  return RecordingName{static_cast<unsigned int>(runs[0].value % Power(kDigits)),
                       static_cast<unsigned int>(runs[0].value / Power(kDigits))};
}

unsigned int FolderNumber(std::string_view name) {
  constexpr std::size_t kDigits = 3;
  constexpr std::size_t kLength = 8;
  if (name.size() != kLength) return 0;
  unsigned int number = 0;
  for (std::size_t i = 0; i < kDigits; ++i) {
    if (!IsDigit(name[i])) return 0;
    number = number * 10 + static_cast<unsigned int>(name[i] - '0');
  }
  return IsDigit(name[kDigits]) ? 0 : number;
}

}  // namespace clipchain
