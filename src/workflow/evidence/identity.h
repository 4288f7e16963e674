// Judges by values that are equal in the clips of a recording and differ between recordings, found
// by comparison.
#pragma once

#include <utility>
#include <vector>

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

// Collects the values of the clips, card by card. Limits must be there.
void IndexValues(Family& family);

// Notes the places that form recordings: their value is equal in two clips that belong together by
// other evidence.
void NoteForms(Family& family, const std::vector<std::pair<std::size_t, std::size_t>>& linked);

struct IdentityVerdict {
  Evidence evidence{EvidenceKind::kIdentity};
  // The numbers of all clips with the value run on, too. Where they do not, somebody may have given
  // the clips other numbers.
  bool isNumbered = false;
};

IdentityVerdict JudgeIdentity(const Family& family, std::size_t before, std::size_t behind);

// Whether a clip outside of a chain has a value that should be that of the chain's last clip's
// recording alone.
bool IdentityGoesOn(const Family& family, std::size_t last,
                    const std::vector<std::size_t>& sortedChain);

}  // namespace clipchain
