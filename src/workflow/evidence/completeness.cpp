#include "workflow/evidence/completeness.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/clock.h"
#include "workflow/evidence/grade.h"
#include "workflow/evidence/identity.h"
#include "workflow/evidence/link.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/timecode.h"

namespace clipchain {

namespace {

// Whether the first clip counts chapters from 2 on, or from 1 on where the first clip of a
// recording has a name of another series: then a clip is missing in front.
bool BeginsLate(const Family& family, const Chain& chain) {
  const Link& first = chain.links.front().link;
  const FamilyClip& clip = family.clips[first.before];
  const auto name = RecordingNameOf(clip.name);
  if (!first.strength.isChapter || !name) return false;
  const bool isBegunElsewhere = family.cards[clip.card].laterChapters.contains(SeriesOf(clip));
  return name->chapter > (isBegunElsewhere ? 0U : 1U);
}

// Whether a clip whose time says nothing may stand in front of one whose time does: it was not set
// then, and runs on all the same.
bool ItsClockRunsOn(const Family& family, FamilyClip before, std::size_t behind) {
  const ClockCustom custom = family.CardOf(behind).custom;
  if (custom == ClockCustom::kUnknown || custom == ClockCustom::kTied) return true;
  // Far behind all times that can be meant, and that can be counted in billionths of a second.
  constexpr std::uint64_t kNever = std::uint64_t{1} << 33;
  if (before.traits->created > kNever) return false;
  before.time = static_cast<std::int64_t>(before.traits->created);
  const FamilyClip& second = family.clips[behind];
  if (custom == ClockCustom::kOne) return before.time == second.time;
  const auto end = EndOf(before, custom);
  const auto begin = BeginOf(second, custom);
  return !end || !begin || std::abs(*begin - *end) <= kClockSlack;
}

bool HasHole(const Chain& chain) {
  return std::any_of(chain.links.begin(), chain.links.end(),
                     [](const UnitLink& link) { return !link.link.strength.isDirect; });
}

}  // namespace

Completeness::Completeness(const std::vector<EvidenceUnit>& units,
                           const std::vector<Family>& families, const std::vector<Chain>& chains,
                           const std::vector<std::pair<std::size_t, std::size_t>>& contested)
    : units_(units),
      families_(families),
      mayGoOnBefore_(units.size()),
      mayGoOnBehind_(units.size()) {
  for (const auto& [before, behind] : contested)
    mayGoOnBehind_[before] = mayGoOnBefore_[behind] = true;
  for (const Chain& chain : chains) {
    for (const UnitLink& link : chain.links) {
      followed_.insert_or_assign(link.before, link.link.strength.grade);
      led_.insert_or_assign(link.behind, link.link.strength.grade);
    }
  }
}

bool Completeness::Of(const Chain& chain) const {
  return !IsOpenAtEnds(chain) && !BeginsLate(families_[chain.links.front().family], chain) &&
         !HasHole(chain) && !MayBeLateHalf(chain) && !GoesOn(chain);
}

bool Completeness::IsOpenAtEnds(const Chain& chain) const {
  const std::size_t head = chain.units.front();
  const std::size_t tail = chain.units.back();
  // Identifiers say that more belongs there, and stand above all evidence.
  if (units_[head].identified && units_[head].openAtHead) return true;
  if (units_[tail].identified && units_[tail].openAtTail) return true;
  return chain.isUnclear || mayGoOnBefore_[head] || mayGoOnBehind_[tail];
}

// Whether a clip stops at a limit and is followed by none, though no time says by which one. What
// its number alone says counts less than what a chain rests on.
bool Completeness::IsLoose(const Family& family, std::size_t i, Grade grade) const {
  const FamilyClip& clip = family.clips[i];
  const bool isTimed = clip.time && family.CardOf(i).custom != ClockCustom::kOne;
  if (!clip.stops || !clip.mayBeFollowed || isTimed) return false;
  const auto followed = followed_.find(clip.unit);
  return followed == followed_.end() || std::min(grade, Grade::kLikely) > followed->second;
}

const std::vector<std::size_t>& Completeness::LooseOn(std::size_t family, std::size_t card,
                                                      Grade grade) const {
  const auto [place, isNew] = loose_.try_emplace({family, card, grade});
  if (isNew) {
    for (const std::size_t i : families_[family].cards[card].clips) {
      if (IsLoose(families_[family], i, grade)) place->second.push_back(i);
    }
  }
  return place->second;
}

// Whether a loose clip may stand in front of the chain: nothing speaks against it but that there is
// no order.
bool Completeness::MayBeLateHalf(const Chain& chain) const {
  const std::size_t end = chain.units.back();
  const UnitLink& first = chain.links.front();
  const Family& family = families_[first.family];
  const std::size_t head = first.link.before;
  // With more of them it would take quadratic time to find out that none is in front.
  constexpr std::size_t kMost = 16;
  std::size_t count = 0;
  for (const std::size_t clip :
       LooseOn(first.family, family.clips[head].card, chain.WeakestGrade())) {
    // Of the chain itself only the last clip is followed by none.
    if (clip == head || family.clips[clip].unit == end) continue;
    // A clock that was set in between was not set within a recording.
    const FamilyClip& loose = family.clips[clip];
    if (family.clips[head].time && !loose.time && !ItsClockRunsOn(family, loose, head)) continue;
    if (++count > kMost) return true;
    if (Contradictions(JudgeLink(family, clip, head).evidence) == 0) return true;
  }
  return false;
}

// Whether a clip should follow on the last one, which stops at a limit.
bool Completeness::GoesOn(const Chain& chain) const {
  const Family& family = families_[chain.links.back().family];
  const std::size_t end = chain.links.back().link.behind;
  // Where it stops by itself nothing can follow, whatever a counter says.
  if (!family.clips[end].stops) return false;
  std::vector<std::size_t> members;
  for (const UnitLink& link : chain.links) {
    members.push_back(link.link.before);
    members.push_back(link.link.behind);
  }
  std::sort(members.begin(), members.end());
  return TimecodeGoesOn(family, end) || IdentityGoesOn(family, end, members) ||
         MayGoOnAtSharedTime(chain);
}

const ClockIndex& Completeness::SharedTimes(std::size_t family, ClockCustom custom) const {
  const auto [place, isNew] = sharedTimes_.try_emplace({family, custom});
  if (isNew) {
    std::vector<FamilyClip> clips = families_[family].clips;
    for (FamilyClip& clip : clips)
      clip.time = clip.time ? std::nullopt : UsableTime(clip.traits->created);
    place->second = ClockIndex(clips, custom);
  }
  return place->second;
}

// Whether clips begin where the last one ends that share their time, so that the clock does not
// tell which of them follows.
bool Completeness::MayGoOnAtSharedTime(const Chain& chain) const {
  using enum ClockCustom;
  const UnitLink& last = chain.links.back();
  const Family& family = families_[last.family];
  const std::size_t end = last.link.behind;
  const ClockCustom custom = family.CardOf(end).custom;
  const auto moment = EndOf(family.clips[end], custom);
  if (!moment || (custom != kStart && custom != kEnd)) return false;
  const Grade grade = std::min(chain.WeakestGrade(), Grade::kLikely);
  const std::vector<std::size_t> begun =
      SharedTimes(last.family, custom).Near(*moment, family.clips.size());
  return std::any_of(begun.begin(), begun.end(), [&](std::size_t clip) {
    const auto led = led_.find(family.clips[clip].unit);
    const bool isFree = led == led_.end() || led->second < grade;
    return isFree && family.clips[clip].mayFollow &&
           Contradictions(JudgeLink(family, end, clip).evidence) == 0;
  });
}

}  // namespace clipchain
