#include "workflow/evidence/clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>

#include "clip/mp4_util.h"
#include "workflow/evidence/still_clock.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

using Custom = ClockCustom;
constexpr Custom kCustoms[] = {Custom::kStart, Custom::kEnd, Custom::kOne};
// More clips than that at one moment are no continuation of anything.
constexpr std::size_t kMostNear = 8;

// The clips that continue a clip under a custom.
std::vector<std::size_t> Continuations(const Family& family, std::size_t clip, Custom custom) {
  const FamilyClip& before = family.clips[clip];
  std::vector<std::size_t> found;
  if (custom == Custom::kOne) {
    for (const NextClip& next : before.next) {
      const auto& time = family.clips[next.clip].time;
      if (before.time && time == before.time) found.push_back(next.clip);
    }
    return found;
  }
  if (const auto end = EndOf(before, custom)) found = family.clock.at(custom).Near(*end, kMostNear);
  std::erase(found, clip);
  return found;
}

// How a custom explains the clips of a card that stop at a limit.
struct Explained {
  std::size_t count = 0;
  std::vector<std::vector<std::size_t>> continuations{};
};

Explained Explain(const Family& family, const FamilyCard& card, Custom custom, bool throughHoles) {
  Explained explained;
  for (const std::size_t i : card.clips) {
    const FamilyClip& clip = family.clips[i];
    if (!clip.stops) continue;
    std::vector<std::size_t> found;
    if (!throughHoles) {
      found = Continuations(family, i, custom);
    } else if (const auto end = EndOf(clip, custom); end && custom != Custom::kOne) {
      for (const NextClip& next : clip.nextButOne) {
        const auto begin = BeginOf(family.clips[next.clip], custom);
        const Nanoseconds gap = begin.value_or(*end) - *end - *clip.traits->length;
        if (begin && std::abs(gap) <= kClockSlack) found.push_back(next.clip);
      }
    }
    if (!found.empty()) ++explained.count;
    explained.continuations.push_back(std::move(found));
  }
  return explained;
}

std::string SecondsWords(Nanoseconds time) {
  return fmt::format("{:.1f} s", static_cast<double>(std::abs(time)) / kSecond);
}

ClockVerdict Silent(ClockVerdict verdict, std::string text) {
  verdict.evidence.agrees = std::nullopt;
  verdict.evidence.text = std::move(text);
  return verdict;
}

// The custom for two clips that may lie on two cards.
Custom CustomFor(const Family& family, std::size_t before, std::size_t behind) {
  const Custom first = family.CardOf(before).custom;
  const Custom second = family.CardOf(behind).custom;
  if (first == second || second == Custom::kUnknown) return first;
  return first == Custom::kUnknown ? second : Custom::kTied;
}

// Those that it may be where it is not known.
std::vector<Custom> CustomsFor(const Family& family, std::size_t before, std::size_t behind) {
  std::vector<Custom> customs = family.CardOf(before).customs;
  const std::vector<Custom>& others = family.CardOf(behind).customs;
  customs.insert(customs.end(), others.begin(), others.end());
  return customs;
}

ClockVerdict JudgeByCustom(const FamilyClip& first, const FamilyClip& second, Custom custom) {
  ClockVerdict verdict;
  verdict.custom = custom;
  verdict.rises = *second.time > *first.time;
  const std::string names[] = {PrintablePath(first.name), PrintablePath(second.name)};
  if (custom == Custom::kOne) {
    verdict.evidence.agrees = first.time == second.time;
    verdict.evidence.text =
        *verdict.evidence.agrees
            ? fmt::format("{} has the time of {}, as chapters have here", names[1], names[0])
            : fmt::format("{} has another time than {}", names[1], names[0]);
    return verdict;
  }
  const auto end = EndOf(first, custom);
  const auto begin = BeginOf(second, custom);
  if (!end || !begin || !first.traits->length)
    return Silent(verdict, "how long the clips run is not known");
  // A second is no distance in time to a clip that is no longer.
  if (*first.traits->length <= kSecond)
    return Silent(verdict, fmt::format("{} is too short for a clock of seconds", names[0]));
  const Nanoseconds gap = *begin - *end;
  verdict.evidence.agrees = std::abs(gap) <= kClockSlack;
  verdict.gapIsClip =
      !*verdict.evidence.agrees && std::abs(gap - *first.traits->length) <= kClockSlack;
  verdict.evidence.text = fmt::format("{} begins {} {} {} ends", names[1], SecondsWords(gap),
                                      gap < 0 ? "before" : "after", names[0]);
  return verdict;
}

}  // namespace

std::optional<std::int64_t> UsableTime(std::uint64_t created) {
  constexpr std::uint64_t kLatest = std::uint64_t{1} << 33;
  if (created == 0 || created > kLatest) return std::nullopt;
  unsigned short year = 0;
  unsigned char month = 0, day = 0, hour = 0, minute = 0, second = 0;
  MP4G::CMp4Util::TranslateIsomTime(created, year, month, day, hour, minute, second);
  if (year == 1904 || year == 1970) return std::nullopt;
  const bool firstHour =
      month == 1 && day == 1 && (hour == 0 || (hour == 1 && minute + second == 0));
  if (firstHour) return std::nullopt;
  return static_cast<std::int64_t>(created);
}

std::optional<Nanoseconds> BeginOf(const FamilyClip& clip, Custom custom) {
  if (!clip.time) return std::nullopt;
  if (custom != Custom::kEnd) return *clip.time * kSecond;
  if (!clip.traits->length) return std::nullopt;
  return *clip.time * kSecond - *clip.traits->length;
}

std::optional<Nanoseconds> EndOf(const FamilyClip& clip, Custom custom) {
  if (!clip.time || !clip.traits->length) return std::nullopt;
  return *clip.time * kSecond + (custom == Custom::kStart ? *clip.traits->length : 0);
}

void NoteCustom(const Family& family, FamilyCard& card) {
  card.custom = Custom::kUnknown;
  for (const bool throughHoles : {false, true}) {
    Explained best;
    for (const Custom candidate : kCustoms) {
      Explained explained = Explain(family, card, candidate, throughHoles);
      if (explained.count == 0 || explained.count < best.count) continue;
      if (explained.count > best.count) {
        card.customs = {candidate};
        best = std::move(explained);
        card.custom = candidate;
      } else {
        card.customs.push_back(candidate);
        if (explained.continuations != best.continuations) card.custom = Custom::kTied;
      }
    }
    if (card.custom != Custom::kUnknown) return;
  }
  card.customs.assign(std::begin(kCustoms), std::end(kCustoms));
}

ClockVerdict JudgeClock(const Family& family, std::size_t before, std::size_t behind) {
  ClockVerdict verdict;
  const FamilyClip& first = family.clips[before];
  const FamilyClip& second = family.clips[behind];
  for (const FamilyClip* clip : {&first, &second}) {
    if (!clip->time)
      return Silent(verdict, fmt::format("the time in {} says nothing", PrintablePath(clip->name)));
  }
  verdict.custom = CustomFor(family, before, behind);
  verdict.rises = *second.time > *first.time;
  if (verdict.custom != Custom::kUnknown && verdict.custom != Custom::kTied) {
    verdict = JudgeByCustom(first, second, verdict.custom);
    if (verdict.evidence.agrees == true && first.isOfSharedSeries &&
        Continuations(family, before, verdict.custom).size() > 1) {
      verdict.isAmbiguous = true;
      return Silent(verdict, fmt::format("several clips begin where {} ends, of a series of two "
                                         "cameras",
                                         PrintablePath(first.name)));
    }
    const bool isOneMoment = verdict.custom == Custom::kOne && verdict.evidence.agrees == true;
    if (!isOneMoment) return verdict;
    const Reason why = WhyOneTimeIsSilent(family, before, behind);
    return why ? Silent(verdict, *why) : verdict;
  }
  // Whichever it is may not matter: clips that lie far apart do so by all of them.
  bool areApart = true;
  for (const Custom custom : CustomsFor(family, before, behind)) {
    const ClockVerdict judged = JudgeByCustom(first, second, custom);
    if (judged.evidence.agrees != false || judged.gapIsClip) areApart = false;
  }
  if (!areApart) return Silent(verdict, "of which moment of a clip the times are is not clear");
  verdict.evidence.agrees = false;
  verdict.evidence.text = fmt::format(
      "{} is not of the time at which {} ends, whichever moment of a clip its time is of",
      PrintablePath(second.name), PrintablePath(first.name));
  return verdict;
}

}  // namespace clipchain
