#include "workflow/evidence/numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "adapt/reason.h"
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

// The sentence that says why the names are those of two recordings.
Reason WhyApart(const Family& family, std::size_t before, std::size_t behind) {
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  const FamilyCard& card = family.CardOf(before);
  const std::string series = SeriesOf(first);
  const bool areOfOneCamera = series == SeriesOf(second) || card.laterChapters.contains(series);
  if (areOfOneCamera && EachBeginsRecording(card, SeriesOf(second)))
    return fmt::format("{} begins a recording: later chapters have names of their own",
                       PrintablePath(second.name));
  const NextClip* next = Find(first.next, behind);
  if (next == nullptr) next = Find(first.nextButOne, behind);
  // Where chapters are counted beside recordings these have numbers of their own.
  const bool isChaptered = series == SeriesOf(second) && card.chaptered.contains(series);
  if (isChaptered &&
      ((next != nullptr && !next->isChapter && IsOfNextRecording(first.name, second.name)) ||
       AreOfTwoRecordings(first.name, second.name)))
    return fmt::format("{} is of a recording behind that of {}, by its name",
                       PrintablePath(second.name), PrintablePath(first.name));
  return std::nullopt;
}

// Whether they are of two series that are recorded at a time.
bool AreOfTwoSides(const Family& family, const FamilyClip& first, const FamilyClip& second) {
  return first.card == second.card && family.cards[first.card].isTwofold &&
         SeriesOf(first) != SeriesOf(second);
}

// The sentence that says why the numbers of two clips tell nothing, whatever they are.
Reason WhySilent(const Family& family, std::size_t before, std::size_t behind,
                 const ClockVerdict& clock) {
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  if (first.folder == second.folder && first.isRenumbered)
    return fmt::format("the numbers in the folder of {} follow no clock",
                       PrintablePath(first.name));
  // Of the clock alone.
  const bool hasNoOrder = !clock.evidence.agrees || clock.custom == ClockCustom::kOne;
  if (hasNoOrder && FileTimesRunOn(family, behind, before))
    return fmt::format("the file {} was written before {}", PrintablePath(second.name),
                       PrintablePath(first.name));
  return std::nullopt;
}

// The sentence that says why the next number need not be that of the next clip.
Reason WhyNotNext(const FamilyClip& first, const FamilyClip& second, bool isChapter) {
  if (first.isOfSharedSeries)
    return fmt::format("clips of the series of {} were recorded two at a time",
                       PrintablePath(first.name));
  // On a card with one clip of each recording nothing shows which number counts chapters.
  if (!isChapter && AreOfTwoRecordings(first.name, second.name))
    return fmt::format("{} may be of a recording behind that of {}, by its name",
                       PrintablePath(second.name), PrintablePath(first.name));
  return std::nullopt;
}

// The folder of a series: a camera counts on from one of its folders to the next.
std::string FolderOfSeries(const FamilyClip& clip) {
  return FolderNumber(NameOf(clip.folder)) != 0 ? FolderOf(clip.folder) : clip.folder;
}

}  // namespace

NumbersVerdict JudgeNumbers(const Family& family, std::size_t before, std::size_t behind,
                            const ClockVerdict& clock) {
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  const std::string names[] = {PrintablePath(first.name), PrintablePath(second.name)};
  NumbersVerdict verdict;
  const auto say = [&verdict](std::optional<bool> agrees, std::string text) {
    verdict.evidence.agrees = agrees;
    verdict.evidence.text = std::move(text);
    return verdict;
  };
  if (AreOfTwoSides(family, first, second))
    return say(false, fmt::format("{} is not of the series of {}, beside which another one was "
                                  "recorded",
                                  names[1], names[0]));
  if (const Reason why = WhySilent(family, before, behind, clock)) return say(std::nullopt, *why);
  if (const Reason why = WhyApart(family, before, behind)) {
    verdict.areApart = true;
    return say(false, *why);
  }
  if (const NextClip* const next = Find(first.next, behind); next != nullptr) {
    verdict.isChapter = next->isChapter;
    if (const Reason why = WhyNotNext(first, second, next->isChapter))
      return say(std::nullopt, *why);
    return say(true, fmt::format("{} has the number behind {}", names[1], names[0]));
  }
  if (clock.rises && first.folder == second.folder && Falls(first.name, second.name))
    return say(false,
               fmt::format("{} is later than {} and has a lower number", names[1], names[0]));
  if (IsNextBetween(family, first, second))
    return say(false, fmt::format("the clip with the number behind {} was recorded before {}",
                                  names[0], names[1]));
  verdict.skipsOne = Find(first.nextButOne, behind) != nullptr;
  return say(std::nullopt,
             verdict.skipsOne
                 ? fmt::format("the number between {} and {} is left out", names[0], names[1])
                 : fmt::format("the numbers of {} and {} say nothing", names[0], names[1]));
}

bool NamesLeap(const Family& family, std::size_t before, std::size_t behind) {
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  if (first.folder != second.folder || SeriesOf(first) != SeriesOf(second)) return false;
  if (first.isRenumbered || second.isRenumbered) return false;
  if (AreOfTwoRecordings(first.name, second.name)) return true;
  return Find(first.next, behind) == nullptr &&
         OrderOfNumbers(first.name, second.name) == NumberOrder::kRises;
}

bool IsNextChapter(const Family& family, std::size_t before, std::size_t behind) {
  const NextClip* next = Find(family.clips[before].next, behind);
  return next != nullptr && next->isChapter;
}

std::string SeriesOf(const FamilyClip& clip) {
  std::string series = FolderOfSeries(clip) + '/';
  std::copy_if(clip.name.begin(), clip.name.end(), std::back_inserter(series), IsNoDigit);
  return series;
}

void NoteChapters(Family& family) {
  // By card, folder and recording.
  std::map<std::tuple<std::size_t, std::string, unsigned int>, std::set<std::string>> begun;
  for (const FamilyClip& clip : family.clips) {
    if (std::any_of(clip.next.begin(), clip.next.end(),
                    [](const NextClip& next) { return next.isChapter; }))
      family.cards[clip.card].chaptered.insert(SeriesOf(clip));
    const auto name = RecordingNameOf(clip.name);
    if (name && name->chapter == 0)
      begun[{clip.card, FolderOfSeries(clip), name->recording}].insert(SeriesOf(clip));
  }
  for (const FamilyClip& clip : family.clips) {
    const auto name = RecordingNameOf(clip.name);
    if (!name || name->chapter != 1) continue;
    const auto first = begun.find({clip.card, FolderOfSeries(clip), name->recording});
    if (first == begun.end()) continue;
    FamilyCard& card = family.cards[clip.card];
    card.laterChapters.insert(SeriesOf(clip));
    card.firstChapters.insert(first->second.begin(), first->second.end());
  }
}

bool EachBeginsRecording(const FamilyCard& card, const std::string& series) {
  return card.firstChapters.contains(series);
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
