#include "workflow/evidence/recordings.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "workflow/evidence/chains.h"
#include "workflow/evidence/completeness.h"
#include "workflow/evidence/copies.h"
#include "workflow/evidence/family.h"
#include "workflow/evidence/identity.h"
#include "workflow/evidence/link.h"
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
    proposal.grade = chain.WeakestGrade();
    proposal.complete = completeness.Of(chain);
    proposal.units = copies.InOneFolder(chain.units);
    proposal.evidence = EvidenceOf(families, chain);
  }
  return proposed;
}

}  // namespace clipchain
