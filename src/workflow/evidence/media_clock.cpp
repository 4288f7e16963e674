#include "workflow/evidence/media_clock.h"

#include <fmt/format.h>

#include <cstdlib>

#include "workflow/evidence/clock.h"
#include "workflow/system/files.h"

namespace clipchain {

Evidence JudgeMediaClock(const Family& family, std::size_t before, std::size_t behind) {
  Evidence evidence{EvidenceKind::kMediaClock};
  const auto& first = family.Traits(before).mediaClock;
  const auto& second = family.Traits(behind).mediaClock;
  if (!first || !second) {
    evidence.text = "the clips carry no time stamps";
    return evidence;
  }
  // The last stamp is that of a sample which itself lasts as long as the clip runs on behind it.
  const Nanoseconds covered = first->last - first->first;
  const Nanoseconds rest = family.Traits(before).length.value_or(covered) - covered;
  const Nanoseconds gap = second->first - first->last;
  const Nanoseconds slack = kClockSlack + std::abs(rest);
  evidence.agrees = gap >= -kClockSlack && gap <= slack;
  evidence.text = fmt::format(
      "the first time stamp in {} is {:.1f} s {} the last one in {}",
      PrintablePath(family.clips[behind].name), static_cast<double>(std::abs(gap)) / kSecond,
      gap < 0 ? "before" : "after", PrintablePath(family.clips[before].name));
  return evidence;
}

}  // namespace clipchain
