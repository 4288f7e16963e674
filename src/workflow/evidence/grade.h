// Tells the grade of a link by what all kinds of evidence say of it: the one place with the rules
// of docs/evidence.md.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "workflow/proposals.h"

namespace clipchain {

inline constexpr std::size_t kEvidenceKinds = 8;
// In the order of the kinds.
using LinkEvidence = std::array<Evidence, kEvidenceKinds>;

// How many kinds disagree.
std::size_t Contradictions(const LinkEvidence& all);

// Nothing where any kind disagrees, or too little agrees. `valueIsNumbered`: the numbers of all
// clips with the value that identity found run on, too.
std::optional<Grade> GradeBy(const LinkEvidence& all, bool valueIsNumbered);

}  // namespace clipchain
