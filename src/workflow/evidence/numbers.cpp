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

const NextClip* Find(const std::vector<NextClip>& next, std::size_t clip) {
  const auto found = std::find_if(next.begin(), next.end(),
                                  [clip](const NextClip& other) { return other.clip == clip; });
  return found != next.end() ? &*found : nullptr;
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

// Whether the names are those of two recordings: where chapters are counted beside recordings,
// these have numbers of their own.
bool AreOfTwoRecordings(const Family& family, const FamilyClip& first, const FamilyClip& second) {
  return family.cards[first.card].chaptered.contains(SeriesOf(first)) &&
         IsOfNextRecording(first.name, second.name);
}

}  // namespace

NumbersVerdict JudgeNumbers(const Family& family, std::size_t before, std::size_t behind,
                            const ClockVerdict& clock) {
  NumbersVerdict verdict;
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  const std::string names[] = {PrintablePath(first.name), PrintablePath(second.name)};
  const NextClip* const next = Find(first.next, behind);
  // Of the clock alone.
  const bool hasNoOrder = !clock.evidence.agrees || clock.custom == ClockCustom::kOne;
  const bool isOneFolder = first.folder == second.folder;
  if (first.card == second.card && family.CardOf(before).isTwofold &&
      SeriesOf(first) != SeriesOf(second)) {
    verdict.evidence.agrees = false;
    verdict.evidence.text = fmt::format(
        "{} is not of the series of {}, beside which another one was recorded", names[1], names[0]);
  } else if (isOneFolder && first.isRenumbered) {
    verdict.evidence.text =
        fmt::format("the numbers in the folder of {} follow no clock", names[0]);
  } else if (hasNoOrder && FileTimesRunOn(family, behind, before)) {
    verdict.evidence.text = fmt::format("the file {} was written before {}", names[1], names[0]);
  } else if (next != nullptr && !next->isChapter && AreOfTwoRecordings(family, first, second)) {
    verdict.areApart = true;
    verdict.evidence.agrees = false;
    verdict.evidence.text =
        fmt::format("{} is of the recording behind that of {}, by its name", names[1], names[0]);
  } else if (next != nullptr) {
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
    verdict.skipsOne = Find(first.nextButOne, behind) != nullptr;
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

void NoteChapters(Family& family) {
  for (const FamilyClip& clip : family.clips) {
    if (std::any_of(clip.next.begin(), clip.next.end(),
                    [](const NextClip& next) { return next.isChapter; }))
      family.cards[clip.card].chaptered.insert(SeriesOf(clip));
  }
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
      // Without a time, a length and a number any two clips would be made at one moment.
      if ((created == 0 && timecode < 0) || length < 0 || digits.empty()) continue;
      const auto [place, isNew] = series.try_emplace(moment, SeriesOf(clip));
      if (!isNew && place->second != SeriesOf(clip)) card.isTwofold = true;
    }
  }
}

}  // namespace clipchain
