#include "workflow/evidence/file_times.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "workflow/evidence/clock.h"
#include "workflow/system/files.h"

namespace clipchain {

TimedClips ByFileTimes(const Family& family, const std::vector<std::size_t>& folder) {
  TimedClips clips;
  for (const std::size_t i : folder) {
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

bool FileTimesRunOn(const Family& family, std::size_t before, std::size_t behind) {
  const ClipTraits& first = family.Traits(before);
  const ClipTraits& second = family.Traits(behind);
  if (!first.written || !second.written || !second.length) return false;
  // A file was written last when its recording ended.
  const Nanoseconds between = *second.written - *first.written;
  return std::abs(between - *second.length) <= kClockSlack;
}

bool FileTimesPause(const Family& family, std::size_t before, std::size_t behind) {
  if (!family.clips[before].isWrittenInTime || !family.clips[behind].isWrittenInTime) return false;
  const Nanoseconds between = *family.Traits(behind).written - *family.Traits(before).written;
  // Some file systems know only every other second.
  return between - *family.Traits(behind).length > 2 * kClockSlack;
}

Evidence JudgeFileTimes(const Family& family, std::size_t before, std::size_t behind) {
  Evidence evidence{EvidenceKind::kFileTimes};
  const std::string names[] = {PrintablePath(family.clips[before].name),
                               PrintablePath(family.clips[behind].name)};
  evidence.text = fmt::format("the times of the files {} and {} say nothing", names[0], names[1]);
  if (!FileTimesRunOn(family, before, behind)) return evidence;
  evidence.agrees = true;
  evidence.text =
      fmt::format("the file {} was written as long after {} as it runs", names[1], names[0]);
  return evidence;
}

}  // namespace clipchain
