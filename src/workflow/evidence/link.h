// Tells whether one clip continues another, by all kinds of evidence together.
#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "workflow/evidence/family.h"
#include "workflow/evidence/grade.h"
#include "workflow/proposals.h"

namespace clipchain {

// How much speaks for a link: links are compared by it, the first field first.
struct LinkStrength {
  Grade grade = Grade::kPossible;
  // No clip is missing in between.
  bool isDirect = true;
  // Kinds of evidence, those that only support left out.
  unsigned int agreeing = 0;
  bool isChapter = false;
  auto operator<=>(const LinkStrength&) const = default;
};

struct Link {
  std::size_t before = 0;
  std::size_t behind = 0;
  LinkStrength strength;
};

// What all kinds say about two clips, in the order of the kinds, and how sure that makes the link,
// if there is one.
struct LinkVerdict {
  LinkEvidence evidence;
  std::optional<LinkStrength> strength;
  // Clock and split make it a link, and nothing but the numbers speaks against it, which somebody
  // may have given; or the clock leads to several clips.
  bool isContested = false;
};
LinkVerdict JudgeLink(const Family& family, std::size_t before, std::size_t behind);

struct FamilyLinks {
  std::vector<Link> links;
  std::vector<std::pair<std::size_t, std::size_t>> contested;
};

// All links of the family that may be: for each clip only with those that its clock, its number or
// its timecode leads to.
FamilyLinks LinksOf(const Family& family);

}  // namespace clipchain
