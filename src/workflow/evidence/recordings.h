// Leads from what clips say to the recordings that are proposed.
#pragma once

#include <cstddef>
#include <vector>

#include "workflow/evidence/clip_traits.h"
#include "workflow/proposals.h"

namespace clipchain {

// What may be a part of a proposal: a clip, or a sequence that identifiers leave open.
struct EvidenceUnit {
  // One clip, or the first and the last one.
  std::vector<ClipTraits> ends;
  bool identified = false;
  bool openAtHead = true;
  bool openAtTail = true;
};

struct ProposedChain {
  Grade grade = Grade::kPossible;
  bool complete = true;
  // Indexes of what was given, in the order of recording.
  std::vector<std::size_t> units;
  std::vector<Evidence> evidence;
};

// Near linear in the number of units.
std::vector<ProposedChain> ProposeChains(const std::vector<EvidenceUnit>& units);

}  // namespace clipchain
