#include "workflow/evidence/family.h"

#include <algorithm>
#include <map>
#include <utility>

#include "workflow/evidence/chance_limits.h"
#include "workflow/evidence/clock.h"
#include "workflow/evidence/name_index.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/renumbering.h"
#include "workflow/evidence/split.h"
#include "workflow/evidence/still_clock.h"
#include "workflow/evidence/timecode.h"

namespace clipchain {

namespace {

void DivideIntoCards(Family& family) {
  std::map<unsigned int, std::size_t> cards;
  for (std::size_t i = 0; i < family.clips.size(); ++i) {
    FamilyClip& clip = family.clips[i];
    const auto [place, isNew] = cards.try_emplace(clip.traits->volume, family.cards.size());
    if (isNew) family.cards.emplace_back().volume = clip.traits->volume;
    clip.card = place->second;
    family.cards[clip.card].clips.push_back(i);
  }
}

void NoteStops(Family& family, const FamilyCard& card) {
  for (const std::size_t i : card.clips) family.clips[i].stops = false;
  for (const Limit& limit : card.limits) {
    for (const std::size_t i : limit.clips) family.clips[i].stops = true;
  }
}

void IndexTimes(Family& family) {
  for (const ClockCustom custom : {ClockCustom::kStart, ClockCustom::kEnd})
    family.clock[custom] = ClockIndex(family.clips, custom);
}

}  // namespace

ClockIndex::ClockIndex(const std::vector<FamilyClip>& clips, ClockCustom custom) {
  for (std::size_t i = 0; i < clips.size(); ++i) {
    if (const auto begin = BeginOf(clips[i], custom)) begins_.emplace_back(*begin, i);
  }
  std::sort(begins_.begin(), begins_.end());
}

std::vector<std::size_t> ClockIndex::Near(Nanoseconds moment, std::size_t most) const {
  std::vector<std::size_t> found;
  auto at = std::lower_bound(begins_.begin(), begins_.end(),
                             std::pair(moment - kClockSlack, std::size_t{0}));
  for (; at != begins_.end() && at->first <= moment + kClockSlack; ++at) {
    if (found.size() > most) return {};
    found.push_back(at->second);
  }
  return found;
}

Family MakeFamily(std::vector<FamilyClip> clips) {
  Family family;
  family.clips = std::move(clips);
  DivideIntoCards(family);
  const NameIndex names(family.clips);
  for (FamilyClip& clip : family.clips) {
    clip.next = names.Behind(clip, 1);
    clip.nextButOne = names.Behind(clip, 2);
    clip.time = UsableTime(clip.traits->created);
  }
  IndexTimecodes(family);
  NoteTwofold(family);
  NoteChapters(family);
  // All limits that there may be: which of them are chance only the clock tells, and of which
  // moment its times are only the clips that stop at limits tell.
  for (FamilyCard& card : family.cards) {
    card.limits = LimitsOf(family.clips, card.clips);
    NoteStops(family, card);
  }
  for (const FamilyCard& card : family.cards) NoteRenumbering(family, card);
  // Before times are indexed: what stands still would continue anything.
  DropSharedTimes(family);
  IndexTimes(family);
  for (FamilyCard& card : family.cards) {
    NoteOneTime(family, card);
    NoteCustom(family, card);
    NoteSharedSeries(family, card);
    NoteCountsOfRecordings(family, card);
  }
  for (FamilyCard& card : family.cards) {
    DropChanceLimits(family, card);
    NoteStops(family, card);
  }
  // What a count runs on over is separated by a clock and by limits that hold.
  NoteCounters(family);
  return family;
}

std::vector<std::size_t> ClipsFromTimecode(const Family& family, std::int64_t earliest,
                                           std::int64_t latest, std::size_t most) {
  std::vector<std::size_t> found;
  const auto look = [&](std::int64_t from, std::int64_t to) {
    auto at = std::lower_bound(family.timecodes.begin(), family.timecodes.end(),
                               std::pair(from, std::size_t{0}));
    for (; at != family.timecodes.end() && at->first <= to && found.size() <= most; ++at)
      found.push_back(at->second);
  };
  if (earliest <= latest) {
    look(earliest, latest);
  } else {
    look(earliest, earliest);
    look(latest, latest);
  }
  if (found.size() > most) found.clear();
  return found;
}

}  // namespace clipchain
