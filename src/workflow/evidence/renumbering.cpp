#include "workflow/evidence/renumbering.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/clock.h"
#include "workflow/evidence/timecode.h"

namespace clipchain {

namespace {

using TimedClips = std::vector<std::pair<std::int64_t, std::size_t>>;

// The clips of a folder by the times of their files, if these are the times at which they were
// recorded, one behind the other: none is closer to the one before than it runs.
TimedClips ByFileTimes(const Family& family, const std::vector<std::size_t>& members) {
  TimedClips clips;
  for (const std::size_t i : members) {
    if (!family.Traits(i).written || !family.Traits(i).length) return {};
    clips.emplace_back(*family.Traits(i).written, i);
  }
  std::sort(clips.begin(), clips.end());
  for (std::size_t i = 1; i < clips.size(); ++i) {
    const Nanoseconds between = clips[i].first - clips[i - 1].first;
    if (between < *family.Traits(clips[i].second).length - kClockSlack) return {};
  }
  return clips;
}

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

}  // namespace

void NoteRenumbering(Family& family, const FamilyCard& card) {
  std::map<std::string, std::vector<std::size_t>> folders;
  for (const std::size_t i : card.clips) folders[family.clips[i].folder].push_back(i);
  for (const auto& [folder, members] : folders) {
    TimedClips clips;
    for (const std::size_t i : members) {
      if (family.clips[i].time) clips.emplace_back(*family.clips[i].time, i);
    }
    std::sort(clips.begin(), clips.end());
    if (!FallsOften(family, clips) && !FallsOften(family, ByFileTimes(family, members)) &&
        !NumbersLeaveTimecodes(family, card, members))
      continue;
    for (const std::size_t i : members) family.clips[i].isRenumbered = true;
  }
}

}  // namespace clipchain
