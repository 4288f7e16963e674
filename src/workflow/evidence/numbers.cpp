#include "workflow/evidence/numbers.h"

#include <fmt/format.h>

#include <algorithm>

#include "workflow/evidence/clip_names.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

bool Falls(const std::string& before, const std::string& behind) {
  const NumberOrder order = OrderOfNumbers(before, behind);
  return order == NumberOrder::kFalls || order == NumberOrder::kNextRecording;
}

}  // namespace

NumbersVerdict JudgeNumbers(const Family& family, std::size_t before, std::size_t behind,
                            bool clockRises) {
  NumbersVerdict verdict;
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  const std::string names[] = {PrintablePath(first.name), PrintablePath(second.name)};
  const auto find = [behind](const std::vector<NextClip>& next) {
    const auto found = std::find_if(
        next.begin(), next.end(), [behind](const NextClip& other) { return other.clip == behind; });
    return found != next.end() ? &*found : nullptr;
  };
  if (const NextClip* next = find(first.next)) {
    verdict.isChapter = next->isChapter;
    verdict.evidence.agrees = true;
    verdict.evidence.text = fmt::format("{} has the number behind {}", names[1], names[0]);
  } else if (clockRises && first.folder == second.folder && !first.isRenumbered &&
             Falls(first.name, second.name)) {
    verdict.evidence.agrees = false;
    verdict.evidence.text =
        fmt::format("{} is later than {} and has a lower number", names[1], names[0]);
  } else {
    verdict.skipsOne = find(first.nextButOne) != nullptr;
    verdict.evidence.text =
        verdict.skipsOne
            ? fmt::format("the number between {} and {} is left out", names[0], names[1])
            : fmt::format("the numbers of {} and {} say nothing", names[0], names[1]);
  }
  return verdict;
}

}  // namespace clipchain
