#include "workflow/evidence/recordings.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "workflow/evidence/chains.h"
#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/copies.h"
#include "workflow/evidence/family.h"
#include "workflow/evidence/identity.h"
#include "workflow/evidence/link.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/timecode.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

FamilyClip MemberOf(const EvidenceUnit& unit, std::size_t index, bool isHead, bool isTail) {
  FamilyClip clip;
  clip.traits = isHead ? &unit.ends.front() : &unit.ends.back();
  clip.unit = index;
  clip.mayFollow = isHead && unit.openAtHead;
  clip.mayBeFollowed = isTail && unit.openAtTail;
  clip.folder = FolderOf(clip.traits->path);
  clip.name = NameOf(clip.traits->path);
  return clip;
}

// Clips of one description each. A single picture is no part of a recording.
std::vector<Family> FamiliesOf(const std::vector<EvidenceUnit>& units, const Copies& copies) {
  std::map<std::string, std::vector<FamilyClip>> members;
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (copies.Of(i).empty()) continue;
    const EvidenceUnit& unit = units[i];
    const bool isOne = unit.ends.size() == 1;
    if (isOne && unit.ends.front().isPicture) continue;
    FamilyClip& head =
        members[unit.ends.front().description].emplace_back(MemberOf(unit, i, true, isOne));
    for (const std::size_t copy : copies.Of(i)) {
      const std::string& path = units[copy].ends.front().path;
      if (copy != i) head.copies.emplace_back(FolderOf(path), NameOf(path));
    }
    if (!isOne) members[unit.ends.back().description].push_back(MemberOf(unit, i, false, true));
  }
  std::vector<Family> families;
  for (auto& [description, clips] : members) {
    if (clips.size() < 2) continue;
    Family& family = families.emplace_back(MakeFamily(std::move(clips)));
    IndexValues(family);
    std::vector<std::pair<std::size_t, std::size_t>> linked;
    for (const Link& link : LinksOf(family).links) {
      if (link.strength.isDirect && link.strength.grade >= Grade::kLikely)
        linked.emplace_back(link.before, link.behind);
    }
    NoteForms(family, linked);
  }
  return families;
}

// A clip is missing in front: the first one counts chapters from 2 on, or from 1 on where the first
// clip of a recording has a name of another series.
bool BeginsLate(const Family& family, const Chain& chain) {
  const Link& first = chain.links.front().link;
  const FamilyClip& clip = family.clips[first.before];
  const auto name = RecordingNameOf(clip.name);
  if (!first.strength.isChapter || !name) return false;
  const bool isBegunElsewhere = family.cards[clip.card].laterChapters.contains(SeriesOf(clip));
  return name->chapter > (isBegunElsewhere ? 0U : 1U);
}

Grade GradeOf(const Chain& chain) {
  Grade grade = Grade::kCertain;
  for (const UnitLink& link : chain.links) grade = std::min(grade, link.link.strength.grade);
  return grade;
}

// Tells whether clips are missing from chains.
class Completeness {
 public:
  Completeness(const std::vector<EvidenceUnit>& units, const std::vector<Family>& families,
               const std::vector<Chain>& chains,
               const std::vector<std::pair<std::size_t, std::size_t>>& contested)
      : units_(units),
        families_(families),
        mayGoOnBefore_(units.size()),
        mayGoOnBehind_(units.size()) {
    for (const auto& [before, behind] : contested)
      mayGoOnBehind_[before] = mayGoOnBefore_[behind] = true;
    for (const Chain& chain : chains) {
      for (const UnitLink& link : chain.links)
        followed_.insert_or_assign(link.before, link.link.strength.grade);
    }
  }

  bool Of(const Chain& chain) const {
    const EvidenceUnit& first = units_[chain.units.front()];
    const EvidenceUnit& last = units_[chain.units.back()];
    if ((first.identified && first.openAtHead) || (last.identified && last.openAtTail))
      return false;
    if (mayGoOnBefore_[chain.units.front()] || mayGoOnBehind_[chain.units.back()]) return false;
    if (chain.isUnclear || BeginsLate(families_[chain.links.front().family], chain)) return false;
    for (const UnitLink& link : chain.links) {
      if (!link.link.strength.isDirect) return false;
    }
    return !MayBeLateHalf(chain) && !GoesOn(chain);
  }

 private:
  // Whether a clip stops at a limit and is followed by none, though no time says by which one. What
  // its number alone says counts less than what a chain rests on.
  bool IsLoose(const Family& family, std::size_t i, Grade grade) const {
    const FamilyClip& clip = family.clips[i];
    const bool isTimed = clip.time && family.CardOf(i).custom != ClockCustom::kOne;
    if (!clip.stops || !clip.mayBeFollowed || isTimed) return false;
    const auto followed = followed_.find(clip.unit);
    return followed == followed_.end() || std::min(grade, Grade::kLikely) > followed->second;
  }

  const std::vector<std::size_t>& LooseOn(std::size_t family, std::size_t card, Grade grade) const {
    const auto [place, isNew] = loose_.try_emplace({family, card, grade});
    if (isNew) {
      for (const std::size_t i : families_[family].cards[card].clips) {
        if (IsLoose(families_[family], i, grade)) place->second.push_back(i);
      }
    }
    return place->second;
  }

  // Whether one of those may stand in front of the chain: nothing speaks against it but that there
  // is no order.
  bool MayBeLateHalf(const Chain& chain) const {
    const std::size_t end = chain.units.back();
    const UnitLink& first = chain.links.front();
    const Family& family = families_[first.family];
    const std::size_t head = first.link.before;
    constexpr std::size_t kMost = 16;
    std::size_t count = 0;
    for (const std::size_t clip : LooseOn(first.family, family.clips[head].card, GradeOf(chain))) {
      // Of the chain itself only the last clip is followed by none.
      if (clip == head || family.clips[clip].unit == end) continue;
      if (++count > kMost) return true;
      const LinkEvidence all = JudgeLink(family, clip, head).evidence;
      if (std::none_of(all.begin(), all.end(),
                       [](const Evidence& evidence) { return evidence.agrees == false; }))
        return true;
    }
    return false;
  }

  // Whether a clip should follow on the last one, which stops at a limit.
  bool GoesOn(const Chain& chain) const {
    const Family& family = families_[chain.links.back().family];
    const std::size_t end = chain.links.back().link.behind;
    if (!family.clips[end].stops) return false;
    std::vector<std::size_t> members;
    for (const UnitLink& link : chain.links) {
      members.push_back(link.link.before);
      members.push_back(link.link.behind);
    }
    std::sort(members.begin(), members.end());
    return TimecodeGoesOn(family, end) || IdentityGoesOn(family, end, members);
  }

  const std::vector<EvidenceUnit>& units_;
  const std::vector<Family>& families_;
  std::unordered_map<std::size_t, Grade> followed_;
  // But for the numbers.
  std::vector<bool> mayGoOnBefore_;
  std::vector<bool> mayGoOnBehind_;
  // By family, card and grade.
  mutable std::map<std::tuple<std::size_t, std::size_t, Grade>, std::vector<std::size_t>> loose_;
};

// Of each kind that of the link where it says the least.
std::vector<Evidence> EvidenceOf(const std::vector<Family>& families, const Chain& chain) {
  std::vector<Evidence> weakest;
  for (const UnitLink& link : chain.links) {
    const LinkVerdict verdict =
        JudgeLink(families[link.family], link.link.before, link.link.behind);
    if (weakest.empty()) {
      weakest.assign(verdict.evidence.begin(), verdict.evidence.end());
      continue;
    }
    for (std::size_t i = 0; i < weakest.size(); ++i) {
      if (weakest[i].agrees && !verdict.evidence[i].agrees) weakest[i] = verdict.evidence[i];
    }
  }
  const std::size_t more = chain.links.size() - 1;
  for (Evidence& evidence : weakest) {
    if (evidence.agrees && more != 0 && evidence.kind != EvidenceKind::kDescription)
      evidence.text += fmt::format(", and so on for {} more", more);
  }
  return weakest;
}

}  // namespace

std::vector<ProposedChain> ProposeChains(const std::vector<EvidenceUnit>& units) {
  const Copies copies(units);
  const std::vector<Family> families = FamiliesOf(units, copies);
  std::vector<UnitLink> links;
  std::vector<std::pair<std::size_t, std::size_t>> contested;
  for (std::size_t i = 0; i < families.size(); ++i) {
    const Family& family = families[i];
    const FamilyLinks found = LinksOf(family);
    for (const Link& link : found.links)
      links.push_back({family.clips[link.before].unit, family.clips[link.behind].unit, i, link});
    for (const auto& [before, behind] : found.contested)
      contested.emplace_back(family.clips[before].unit, family.clips[behind].unit);
  }
  std::vector<bool> identified;
  for (const EvidenceUnit& unit : units) identified.push_back(unit.identified);
  const std::vector<Chain> chains = ChainsOf(identified, std::move(links));
  const Completeness completeness(units, families, chains, contested);
  std::vector<ProposedChain> proposed;
  for (const Chain& chain : chains) {
    ProposedChain& proposal = proposed.emplace_back();
    proposal.grade = GradeOf(chain);
    proposal.complete = completeness.Of(chain);
    proposal.units = copies.InOneFolder(chain.units);
    proposal.evidence = EvidenceOf(families, chain);
  }
  return proposed;
}

}  // namespace clipchain
