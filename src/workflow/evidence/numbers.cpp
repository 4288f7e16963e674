#include "workflow/evidence/numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>

#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/file_times.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

bool IsNoDigit(char c) { return c < '0' || c > '9'; }

bool Falls(const std::string& before, const std::string& behind) {
  const NumberOrder order = OrderOfNumbers(before, behind);
  return order == NumberOrder::kFalls || order == NumberOrder::kNextRecording;
}

// Whether the camera made another clip in between: the one with the next number begins between
// both.
bool IsNextBetween(const Family& family, const FamilyClip& first, const FamilyClip& second) {
  if (!first.time || !second.time || SeriesOf(first) != SeriesOf(second)) return false;
  return std::any_of(first.next.begin(), first.next.end(), [&](const NextClip& next) {
    const auto& time = family.clips[next.clip].time;
    return !next.isChapter && time && *first.time < *time && *time < *second.time;
  });
}

}  // namespace

NumbersVerdict JudgeNumbers(const Family& family, std::size_t before, std::size_t behind,
                            const ClockVerdict& clock) {
  NumbersVerdict verdict;
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  const std::string names[] = {PrintablePath(first.name), PrintablePath(second.name)};
  const auto find = [behind](const std::vector<NextClip>& next) {
    const auto found = std::find_if(
        next.begin(), next.end(), [behind](const NextClip& other) { return other.clip == behind; });
    return found != next.end() ? &*found : nullptr;
  };
  // Of the clock alone.
  const bool hasNoOrder = !clock.evidence.agrees || clock.custom == ClockCustom::kOne;
  const bool isOneFolder = first.folder == second.folder;
  const bool isOneCard = first.card == second.card;
  if (isOneCard && family.CardOf(before).isTwofold && SeriesOf(first) != SeriesOf(second)) {
    verdict.evidence.agrees = false;
    verdict.evidence.text = fmt::format(
        "{} is not of the series of {}, beside which another one was recorded", names[1], names[0]);
  } else if (isOneFolder && first.isRenumbered) {
    verdict.evidence.text =
        fmt::format("the numbers in the folder of {} follow no clock", names[0]);
  } else if (hasNoOrder && FileTimesRunOn(family, behind, before)) {
    verdict.evidence.text = fmt::format("the file {} was written before {}", names[1], names[0]);
  } else if (const NextClip* next = find(first.next)) {
    verdict.isChapter = next->isChapter;
    verdict.evidence.agrees = true;
    verdict.evidence.text = fmt::format("{} has the number behind {}", names[1], names[0]);
  } else if (clock.rises && isOneFolder && Falls(first.name, second.name)) {
    verdict.evidence.agrees = false;
    verdict.evidence.text =
        fmt::format("{} is later than {} and has a lower number", names[1], names[0]);
  } else if (IsNextBetween(family, first, second)) {
    verdict.evidence.agrees = false;
    verdict.evidence.text = fmt::format("the clip with the number behind {} was recorded before {}",
                                        names[0], names[1]);
  } else {
    verdict.skipsOne = find(first.nextButOne) != nullptr;
    verdict.evidence.text =
        verdict.skipsOne
            ? fmt::format("the number between {} and {} is left out", names[0], names[1])
            : fmt::format("the numbers of {} and {} say nothing", names[0], names[1]);
  }
  return verdict;
}

std::string SeriesOf(const FamilyClip& clip) {
  const bool isNumbered = FolderNumber(NameOf(clip.folder)) != 0;
  std::string series = (isNumbered ? FolderOf(clip.folder) : clip.folder) + '/';
  std::copy_if(clip.name.begin(), clip.name.end(), std::back_inserter(series), IsNoDigit);
  return series;
}

Moment MomentOf(const FamilyClip& clip) {
  const ClipTraits& traits = *clip.traits;
  std::string digits = clip.name.substr(0, clip.name.rfind('.'));
  std::erase_if(digits, IsNoDigit);
  return {traits.created, traits.timecode ? traits.timecode->first : -1, traits.length.value_or(-1),
          digits};
}

void NoteTwofold(Family& family) {
  for (FamilyCard& card : family.cards) {
    std::map<Moment, std::string> series;
    for (const std::size_t i : card.clips) {
      const FamilyClip& clip = family.clips[i];
      const Moment moment = MomentOf(clip);
      const auto& [created, timecode, length, digits] = moment;
      if ((created == 0 && timecode < 0) || length < 0 || digits.empty()) continue;
      const auto [place, isNew] = series.try_emplace(moment, SeriesOf(clip));
      if (!isNew && place->second != SeriesOf(clip)) card.isTwofold = true;
    }
  }
}

}  // namespace clipchain
