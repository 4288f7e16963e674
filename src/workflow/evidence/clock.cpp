#include "workflow/evidence/clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>

#include "clip/mp4_util.h"
#include "workflow/evidence/numbers.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

using Custom = ClockCustom;
constexpr Custom kCustoms[] = {Custom::kStart, Custom::kEnd, Custom::kOne};
// More clips than that at one moment are no continuation of anything.
constexpr std::size_t kMostNear = 8;

bool IsNextTo(const std::vector<NextClip>& next, std::size_t clip) {
  return std::any_of(next.begin(), next.end(),
                     [clip](const NextClip& other) { return other.clip == clip; });
}

bool HasNumber(const FamilyClip& clip) {
  return std::any_of(clip.name.begin(),
                     clip.name.begin() + static_cast<std::ptrdiff_t>(
                                             std::min(clip.name.rfind('.'), clip.name.size())),
                     [](char c) { return c >= '0' && c <= '9'; });
}

// Whether clips of one series and one time are no recording: one of them is followed by none of the
// others though it is not the last, or is followed though it stops at no limit.
bool AreApart(const Family& family, const std::vector<std::size_t>& clips) {
  std::size_t last = 0;
  for (const std::size_t i : clips) {
    const FamilyClip& clip = family.clips[i];
    const bool isFollowed = std::any_of(clips.begin(), clips.end(), [&](std::size_t other) {
      return IsNextTo(clip.next, other) || IsNextTo(clip.nextButOne, other);
    });
    if (!isFollowed) ++last;
    if (isFollowed && !clip.stops) return true;
  }
  return last > 1;
}

// Without numbers: at most one of them is the last of a recording.
bool StopApart(const Family& family, const std::vector<std::size_t>& clips) {
  return std::count_if(clips.begin(), clips.end(),
                       [&](std::size_t i) { return !family.clips[i].stops; }) > 1;
}

// Whether all clips of a card have one time and stop at a limit: that is the clock of a camera
// which stands still as well as one recording that was stopped at a limit. Two that share a limit
// of their own may be two sides of one recording, which is asked elsewhere.
bool MayStandStill(const FamilyCard& card, const std::vector<std::size_t>& clips) {
  const auto isFull = [&](std::size_t clip) {
    return std::any_of(card.limits.begin(), card.limits.end(), [&](const Limit& limit) {
      return (clips.size() > 2 || limit.IsCommon()) && limit.Has(clip);
    });
  };
  return clips.size() == card.clips.size() && std::all_of(clips.begin(), clips.end(), isFull);
}

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

// Whether these could all be two of each length. What looks to two sides stops them within a
// picture of one another, and not always in the same tick.
bool AreInPairs(std::vector<Nanoseconds> lengths, Nanoseconds frame) {
  if (lengths.size() % 2 != 0) return false;
  std::sort(lengths.begin(), lengths.end());
  for (std::size_t i = 0; i < lengths.size(); i += 2) {
    if (lengths[i + 1] - lengths[i] > frame) return false;
  }
  return true;
}

// Whether all clips of any one time of the card stand in pairs, be it that of another recording: of
// this one a clip may be missing. Times that order nothing count, too.
bool ShowsPairs(const Family& family, std::size_t clip) {
  std::map<std::int64_t, std::vector<Nanoseconds>> lengths;
  for (const std::size_t other : family.CardOf(clip).clips) {
    const ClipTraits& traits = family.Traits(other);
    if (const auto time = UsableTime(traits.created))
      lengths[*time].push_back(traits.length.value_or(-1));
  }
  return std::any_of(lengths.begin(), lengths.end(), [&](const auto& moment) {
    return AreInPairs(moment.second, family.Traits(clip).frame);
  });
}

// Two clips of one time and one length, which no other clip of the card has, may be chapters of
// which the last one is full, too, or what looks to two sides.
bool MayBeTwoSides(const Family& family, std::size_t before, std::size_t behind) {
  if (family.clips[before].card != family.clips[behind].card) return false;
  bool isAlone = false;
  for (const Limit& limit : family.CardOf(before).limits) {
    if (!limit.Has(before)) continue;
    if (limit.IsCommon() || limit.clips.size() > 2) return false;
    isAlone = isAlone || (limit.kind == Limit::Kind::kSharedLength && limit.Has(behind));
  }
  return isAlone && ShowsPairs(family, before);
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

void DropSharedTimes(Family& family) {
  std::vector<std::size_t> unusable;
  for (const FamilyCard& card : family.cards) {
    std::map<std::int64_t, std::vector<std::size_t>> byTime;
    for (const std::size_t i : card.clips) {
      if (family.clips[i].time) byTime[*family.clips[i].time].push_back(i);
    }
    for (const auto& [time, clips] : byTime) {
      if (clips.size() < 2) continue;
      std::map<std::string, std::vector<std::size_t>> series;
      std::vector<std::size_t> unnumbered;
      for (const std::size_t i : clips) {
        const FamilyClip& clip = family.clips[i];
        (HasNumber(clip) ? series[SeriesOf(clip)] : unnumbered).push_back(i);
      }
      // A clock that stands still for some of them does so for all.
      const bool isStill = MayStandStill(card, clips) || StopApart(family, unnumbered) ||
                           std::any_of(series.begin(), series.end(), [&](const auto& members) {
                             const bool areTwo = members.second.size() > 1 &&
                                                 EachBeginsRecording(card, members.first);
                             return areTwo || AreApart(family, members.second);
                           });
      if (isStill) unusable.insert(unusable.end(), clips.begin(), clips.end());
    }
  }
  for (const std::size_t i : unusable) family.clips[i].time.reset();
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
    const bool isOneMoment = verdict.custom == Custom::kOne && verdict.evidence.agrees == true;
    if (!isOneMoment || !MayBeTwoSides(family, before, behind)) return verdict;
    return Silent(verdict, fmt::format("{} has the time and the length of {}, as what looks to two "
                                       "sides gives them",
                                       PrintablePath(second.name), PrintablePath(first.name)));
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
