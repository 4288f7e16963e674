#include "workflow/evidence/file_times.h"

#include <fmt/format.h>

#include <cstdlib>

#include "workflow/evidence/clock.h"
#include "workflow/system/files.h"

namespace clipchain {

bool FileTimesRunOn(const Family& family, std::size_t before, std::size_t behind) {
  const ClipTraits& first = family.Traits(before);
  const ClipTraits& second = family.Traits(behind);
  if (!first.written || !second.written || !second.length) return false;
  // A file was written last when its recording ended.
  const Nanoseconds between = *second.written - *first.written;
  return std::abs(between - *second.length) <= kClockSlack;
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
