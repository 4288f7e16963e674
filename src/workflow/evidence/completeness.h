// Tells whether clips are missing from the chains that are proposed.
#pragma once

#include <cstddef>
#include <map>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workflow/evidence/chains.h"
#include "workflow/evidence/family.h"
#include "workflow/evidence/recordings.h"

namespace clipchain {

// The order of the questions is that of a chain: what stands open at its head, what is left out
// inside, what should follow on its last clip.
class Completeness {
 public:
  // `contested`: pairs of units that belong together as far as anybody can see. All of it must
  // outlive this.
  Completeness(const std::vector<EvidenceUnit>& units, const std::vector<Family>& families,
               const std::vector<Chain>& chains,
               const std::vector<std::pair<std::size_t, std::size_t>>& contested);

  // Whether nothing shows that a clip is missing: false wherever one may be.
  bool Of(const Chain& chain) const;

 private:
  bool IsOpenAtEnds(const Chain& chain) const;
  bool MayBeLateHalf(const Chain& chain) const;
  bool GoesOn(const Chain& chain) const;
  bool MayGoOnAtSharedTime(const Chain& chain) const;
  bool IsLoose(const Family& family, std::size_t clip, Grade grade) const;
  const ClockIndex& SharedTimes(std::size_t family, ClockCustom custom) const;
  const std::vector<std::size_t>& LooseOn(std::size_t family, std::size_t card, Grade grade) const;

  const std::vector<EvidenceUnit>& units_;
  const std::vector<Family>& families_;
  // By unit: how sure the link is that leads on from it.
  std::unordered_map<std::size_t, Grade> followed_;
  // By unit: how sure the link is that leads to it.
  std::unordered_map<std::size_t, Grade> led_;
  // By unit: a link that only numbers speak against leads to it, or from it.
  std::vector<bool> mayGoOnBefore_;
  std::vector<bool> mayGoOnBehind_;
  // Both found once. By family and custom: the clips whose times say nothing as others have them.
  mutable std::map<std::pair<std::size_t, ClockCustom>, ClockIndex> sharedTimes_;
  // By family, card and grade.
  mutable std::map<std::tuple<std::size_t, std::size_t, Grade>, std::vector<std::size_t>> loose_;
};

}  // namespace clipchain
