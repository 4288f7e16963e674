#include "workflow/evidence/grade.h"

#include <algorithm>

namespace clipchain {

std::size_t Contradictions(const LinkEvidence& all) {
  return static_cast<std::size_t>(std::count_if(
      all.begin(), all.end(), [](const Evidence& evidence) { return evidence.agrees == false; }));
}

std::optional<Grade> GradeBy(const LinkEvidence& all, bool valueIsNumbered) {
  if (Contradictions(all) != 0) return std::nullopt;
  const auto agrees = [&all](EvidenceKind kind) {
    return all[static_cast<std::size_t>(kind)].agrees == true;
  };
  const bool timecode = agrees(EvidenceKind::kTimecode);
  const bool clock = agrees(EvidenceKind::kClock);
  const bool split = agrees(EvidenceKind::kSplit);
  const bool numbers = agrees(EvidenceKind::kNumbers);
  const bool identity = agrees(EvidenceKind::kIdentity);
  if (timecode && (clock || split)) return Grade::kCertain;
  // Numbers that leave clips with the value out may have been given by somebody else.
  if (identity && split && (clock || (numbers && valueIsNumbered))) return Grade::kCertain;
  if (clock && (numbers || split)) return Grade::kLikely;
  // Here the clock is silent, or it would have told more.
  if (numbers) return Grade::kPossible;
  return std::nullopt;
}

}  // namespace clipchain
