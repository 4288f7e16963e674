#include "workflow/evidence/still_clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/clock.h"
#include "workflow/evidence/file_times.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/timecode.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

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
// They are in order.
bool AreApart(const Family& family, const std::vector<std::size_t>& clips) {
  const auto isOne = [&clips](const NextClip& next) {
    return std::binary_search(clips.begin(), clips.end(), next.clip);
  };
  std::size_t last = 0;
  for (const std::size_t i : clips) {
    const FamilyClip& clip = family.clips[i];
    const bool isFollowed = std::any_of(clip.next.begin(), clip.next.end(), isOne) ||
                            std::any_of(clip.nextButOne.begin(), clip.nextButOne.end(), isOne);
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

// Whether the time that clips of a card share is not that of one recording. A clock that stands
// still for some of them does so for all.
bool IsStill(const Family& family, const FamilyCard& card, const std::vector<std::size_t>& clips) {
  std::map<std::string, std::vector<std::size_t>> series;
  std::vector<std::size_t> unnumbered;
  for (const std::size_t i : clips) {
    const FamilyClip& clip = family.clips[i];
    (HasNumber(clip) ? series[SeriesOf(clip)] : unnumbered).push_back(i);
  }
  if (MayStandStill(card, clips) || StopApart(family, unnumbered)) return true;
  return std::any_of(series.begin(), series.end(), [&](const auto& members) {
    const bool areTwo = members.second.size() > 1 && EachBeginsRecording(card, members.first);
    return areTwo || AreApart(family, members.second);
  });
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

// Whether all of them but the shortest one stand in pairs of one length.
bool MayLackOneSide(const Family& family, const FamilyCard& card) {
  constexpr std::size_t kLeast = 3;
  if (card.clips.size() < kLeast) return false;
  std::vector<Nanoseconds> lengths;
  for (const std::size_t i : card.clips) lengths.push_back(family.Traits(i).length.value_or(-1));
  lengths.erase(std::min_element(lengths.begin(), lengths.end()));
  return AreInPairs(std::move(lengths), family.Traits(card.clips.front()).frame);
}

}  // namespace

void DropSharedTimes(Family& family) {
  std::vector<std::size_t> unusable;
  for (const FamilyCard& card : family.cards) {
    std::map<std::int64_t, std::vector<std::size_t>> byTime;
    for (const std::size_t i : card.clips) {
      if (family.clips[i].time) byTime[*family.clips[i].time].push_back(i);
    }
    for (const auto& [time, clips] : byTime) {
      if (clips.size() > 1 && IsStill(family, card, clips))
        unusable.insert(unusable.end(), clips.begin(), clips.end());
    }
  }
  // Only now: what stands still on one card must not depend on what was found on another one.
  for (const std::size_t i : unusable) family.clips[i].time.reset();
}

void NoteOneTime(const Family& family, FamilyCard& card) {
  const auto& first = family.clips[card.clips.front()].time;
  card.isOfOneTime = std::all_of(card.clips.begin(), card.clips.end(), [&](std::size_t i) {
    return family.clips[i].time && family.clips[i].time == first;
  });
  card.mayLackOneSide = card.isOfOneTime && MayLackOneSide(family, card);
}

Reason WhyOneTimeIsSilent(const Family& family, std::size_t before, std::size_t behind) {
  const FamilyClip& first = family.clips[before];
  const std::string names[] = {PrintablePath(first.name), PrintablePath(family.clips[behind].name)};
  if (MayBeTwoSides(family, before, behind))
    return fmt::format(
        "{} has the time and the length of {}, as what looks to two sides gives them", names[1],
        names[0]);
  // Times of files that go on from one to the other show that nothing lies between them.
  if (IsNextChapter(family, before, behind) || FileTimesRunOn(family, before, behind))
    return std::nullopt;
  const bool isOrdered = TimecodeRunsOn(family, before, behind) ||
                         !(IsNextTo(first.next, behind) || IsNextTo(first.nextButOne, behind));
  if (!isOrdered && MayBeGiven(first.name))
    return fmt::format("{} has the time of {}, and somebody may have given them their numbers",
                       names[1], names[0]);
  const FamilyCard& card = family.CardOf(before);
  if (!card.isOfOneTime) return std::nullopt;
  if (FileTimesPause(family, before, behind))
    return fmt::format("all clips have one time, and the files {} and {} were written with a pause",
                       names[0], names[1]);
  if (card.mayLackOneSide)
    return fmt::format(
        "all clips have one time, and but for one they are as long as another one, "
        "as {} and {} of what looks to two sides are",
        names[0], names[1]);
  return std::nullopt;
}

}  // namespace clipchain
