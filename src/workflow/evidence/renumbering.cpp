#include "workflow/evidence/renumbering.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/clock.h"
#include "workflow/evidence/file_times.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/timecode.h"

namespace clipchain {

namespace {

// Whether numbers fall again and again while times rise.
bool FallsOften(const Family& family, const TimedClips& clips) {
  std::size_t falls = 0;
  std::size_t all = 0;
  for (std::size_t i = 1; i < clips.size(); ++i) {
    if (clips[i - 1].first == clips[i].first) continue;
    const NumberOrder order =
        OrderOfNumbers(family.clips[clips[i - 1].second].name, family.clips[clips[i].second].name);
    if (order == NumberOrder::kFalls) ++falls;
    if (order != NumberOrder::kNone) ++all;
  }
  constexpr std::size_t kLeast = 3;
  return falls >= kLeast && falls * 4 >= all;
}

// Whether clips of one time, which are chapters of one recording or stand still, have numbers on
// both sides of that of a clip of another time: a camera numbers a recording through. `folder` is
// one series, by name.
bool AreMixed(const Family& family, const std::vector<std::size_t>& series) {
  // By time: the last clip of it.
  std::map<std::int64_t, std::size_t> last;
  std::size_t previous = 0;
  for (std::size_t k = 0; k < series.size(); ++k) {
    const FamilyClip& clip = family.clips[series[k]];
    if (!clip.time) continue;
    const auto [own, isNew] = last.try_emplace(*clip.time, k);
    // One that is far higher may be of before the numbers began anew.
    const auto rises = [&](std::size_t from) {
      const std::string& other = family.clips[series[from]].name;
      return OrderOfNumbers(other, clip.name) == NumberOrder::kRises &&
             OrderOfNumbers(clip.name, other) == NumberOrder::kFalls;
    };
    if (!isNew && own->second != previous && rises(own->second) && rises(previous)) return true;
    own->second = previous = k;
  }
  return false;
}

// The clips of a folder, series by series, in the order of their names.
std::map<std::string, std::vector<std::size_t>> SeriesIn(const Family& family,
                                                         std::vector<std::size_t> folder) {
  std::sort(folder.begin(), folder.end(), [&](std::size_t a, std::size_t b) {
    const std::string& first = family.clips[a].name;
    const std::string& second = family.clips[b].name;
    return std::pair(first.size(), first) < std::pair(second.size(), second);
  });
  std::map<std::string, std::vector<std::size_t>> series;
  for (const std::size_t i : folder) series[SeriesOf(family.clips[i])].push_back(i);
  return series;
}

// Whether two of these were recorded at a time, by the clock.
bool Overlap(const Family& family, const std::vector<std::size_t>& series, ClockCustom custom) {
  std::vector<std::pair<Nanoseconds, Nanoseconds>> spans;
  for (const std::size_t i : series) {
    const auto begin = BeginOf(family.clips[i], custom);
    const auto end = EndOf(family.clips[i], custom);
    if (begin && end) spans.emplace_back(*begin, *end);
  }
  std::sort(spans.begin(), spans.end());
  for (std::size_t i = 1; i < spans.size(); ++i) {
    if (spans[i].first < spans[i - 1].second - 2 * kClockSlack) return true;
  }
  return false;
}

std::map<std::string, std::vector<std::size_t>> FoldersOf(const Family& family,
                                                          const FamilyCard& card) {
  std::map<std::string, std::vector<std::size_t>> folders;
  for (const std::size_t i : card.clips) folders[family.clips[i].folder].push_back(i);
  return folders;
}

void NoteFileTimes(Family& family, const TimedClips& clips) {
  for (const auto& [time, i] : clips) family.clips[i].isWrittenInTime = true;
}

}  // namespace

void NoteRenumbering(Family& family, const FamilyCard& card) {
  for (const auto& [folder, members] : FoldersOf(family, card)) {
    TimedClips clips;
    for (const std::size_t i : members) {
      if (family.clips[i].time) clips.emplace_back(*family.clips[i].time, i);
    }
    std::sort(clips.begin(), clips.end());
    const TimedClips byFileTimes = ByFileTimes(family, members);
    NoteFileTimes(family, byFileTimes);
    // Two sides are written two at a time, each in its own time.
    if (card.isTwofold) {
      for (const auto& [name, series] : SeriesIn(family, members))
        NoteFileTimes(family, ByFileTimes(family, series));
    }
    if (!FallsOften(family, clips) && !FallsOften(family, byFileTimes) &&
        !NumbersLeaveTimecodes(family, card, members))
      continue;
    for (const std::size_t i : members) family.clips[i].isRenumbered = true;
  }
}

void NoteSharedSeries(Family& family, const FamilyCard& card) {
  using enum ClockCustom;
  if (card.custom == kUnknown || card.custom == kTied) return;
  for (const auto& [folder, members] : FoldersOf(family, card)) {
    for (const auto& [name, series] : SeriesIn(family, members)) {
      const bool areMixed =
          card.custom == kOne && !card.chaptered.contains(name) && AreMixed(family, series);
      const bool overlap = card.custom != kOne && Overlap(family, series, card.custom);
      for (const std::size_t i : series) {
        family.clips[i].isRenumbered = family.clips[i].isRenumbered || areMixed;
        family.clips[i].isOfSharedSeries = overlap;
      }
    }
  }
}

}  // namespace clipchain
