// Finds what is sure at the beginning of a gap that was cut off.
#pragma once

#include <cstdint>
#include <vector>

#include "workflow/rescue/gap_patterns.h"

namespace clipchain::rescue {

struct CutGap {
  ByteRange range;
  bool atBegin = false;
};

// Pieces of several tracks, each whole but the last one, which shows where the one in front of it
// ends. Nothing if none are sure: then the first piece may still be.
std::vector<GapPiece> SolveCutGap(const GapRules& rules, MediaWindow& window, const CutGap& gap,
                                  BeginsOther& other);

}  // namespace clipchain::rescue
