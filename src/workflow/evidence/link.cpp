#include "workflow/evidence/link.h"

#include <algorithm>

#include "workflow/evidence/clock.h"
#include "workflow/evidence/file_times.h"
#include "workflow/evidence/grade.h"
#include "workflow/evidence/identity.h"
#include "workflow/evidence/media_clock.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/split.h"
#include "workflow/evidence/timecode.h"

namespace clipchain {

namespace {

// More that begin at one moment tell nothing, and all with all would take quadratic time.
constexpr std::size_t kMostCandidates = 8;

Evidence& Of(LinkEvidence& all, EvidenceKind kind) { return all[static_cast<std::size_t>(kind)]; }

// A clip is missing in between: as long as the first one by the clock, and with the number that is
// left out. Where all clips of a recording have one time, the number alone can tell.
bool IsHole(const ClockVerdict& clock, const NumbersVerdict& numbers) {
  if (!numbers.skipsOne) return false;
  return clock.gapIsClip || (clock.custom == ClockCustom::kOne && clock.evidence.agrees == true);
}

void AgreeThroughHole(LinkEvidence& all, bool timecodeGapIsClip) {
  Of(all, EvidenceKind::kClock).agrees = true;
  Of(all, EvidenceKind::kNumbers).agrees = true;
  for (const EvidenceKind kind : {EvidenceKind::kClock, EvidenceKind::kNumbers})
    Of(all, kind).text += ": a clip is missing in between";
  Evidence& timecode = Of(all, EvidenceKind::kTimecode);
  if (timecode.agrees && !*timecode.agrees && timecodeGapIsClip) timecode.agrees = true;
}

// Clips of one time have no order by it.
bool HasOrder(const LinkEvidence& all, const ClockVerdict& clock, bool isHole) {
  if (clock.custom != ClockCustom::kOne || clock.evidence.agrees != true || isHole) return true;
  return all[static_cast<std::size_t>(EvidenceKind::kNumbers)].agrees == true ||
         all[static_cast<std::size_t>(EvidenceKind::kTimecode)].agrees == true;
}

std::vector<std::size_t> CandidatesOf(const Family& family, std::size_t before) {
  const FamilyClip& clip = family.clips[before];
  std::vector<std::size_t> found;
  for (const auto* next : {&clip.next, &clip.nextButOne}) {
    for (const NextClip& other : *next) found.push_back(other.clip);
  }
  for (const auto& [custom, index] : family.clock) {
    const auto end = EndOf(clip, custom);
    if (!end) continue;
    const auto near = index.Near(*end, kMostCandidates);
    found.insert(found.end(), near.begin(), near.end());
  }
  if (const auto& timecode = clip.traits->timecode) {
    const auto near =
        ClipsFromTimecode(family, timecode->earliestEnd, timecode->latestEnd, kMostCandidates);
    found.insert(found.end(), near.begin(), near.end());
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  std::erase_if(found, [&](std::size_t other) {
    return family.clips[other].unit == clip.unit || !family.clips[other].mayFollow;
  });
  return found;
}

}  // namespace

LinkVerdict JudgeLink(const Family& family, std::size_t before, std::size_t behind) {
  LinkVerdict verdict;
  LinkEvidence& all = verdict.evidence;
  const ClockVerdict clock = JudgeClock(family, before, behind);
  const NumbersVerdict numbers = JudgeNumbers(family, before, behind, clock);
  const bool isNext = clock.evidence.agrees == true || numbers.evidence.agrees == true;
  const TimecodeVerdict timecode = JudgeTimecode(family, before, behind, clock, isNext);
  Of(all, EvidenceKind::kDescription) = {EvidenceKind::kDescription, true,
                                         "the clips have the same tracks and descriptions"};
  Of(all, EvidenceKind::kTimecode) = timecode.evidence;
  Of(all, EvidenceKind::kClock) = clock.evidence;
  Of(all, EvidenceKind::kSplit) = JudgeSplit(family, before, behind);
  Of(all, EvidenceKind::kNumbers) = numbers.evidence;
  const IdentityVerdict identity = JudgeIdentity(family, before, behind);
  Of(all, EvidenceKind::kIdentity) = identity.evidence;
  Of(all, EvidenceKind::kMediaClock) = JudgeMediaClock(family, before, behind);
  Of(all, EvidenceKind::kFileTimes) = JudgeFileTimes(family, before, behind);
  const bool isHole = IsHole(clock, numbers);
  if (isHole) AgreeThroughHole(all, timecode.gapIsClip);
  const std::size_t contradictions = Contradictions(all);
  verdict.isContested = contradictions == 1 && numbers.evidence.agrees == false &&
                        !numbers.areApart && clock.evidence.agrees == true &&
                        Of(all, EvidenceKind::kSplit).agrees == true;
  if (contradictions == 0 && clock.isAmbiguous) verdict.isContested = true;
  if (contradictions != 0 || !HasOrder(all, clock, isHole)) return verdict;
  const std::optional<Grade> grade = GradeBy(all, identity.isNumbered);
  if (!grade) return verdict;
  LinkStrength strength;
  // Of a clip that nobody has seen nothing is certain.
  strength.grade = isHole ? std::min(*grade, Grade::kLikely) : *grade;
  strength.isDirect = !isHole;
  strength.isChapter = numbers.isChapter;
  strength.agreeing =
      static_cast<unsigned int>(std::count_if(all.begin(), all.end(), [](const Evidence& evidence) {
        // Copying sets the times of files: that they agree supports nothing.
        return evidence.agrees == true && evidence.kind != EvidenceKind::kFileTimes;
      }));
  verdict.strength = strength;
  return verdict;
}

FamilyLinks LinksOf(const Family& family) {
  FamilyLinks found;
  for (std::size_t before = 0; before < family.clips.size(); ++before) {
    if (!family.clips[before].mayBeFollowed) continue;
    for (const std::size_t behind : CandidatesOf(family, before)) {
      const LinkVerdict verdict = JudgeLink(family, before, behind);
      if (verdict.strength) found.links.push_back({before, behind, *verdict.strength});
      if (verdict.isContested) found.contested.emplace_back(before, behind);
    }
  }
  return found;
}

}  // namespace clipchain
