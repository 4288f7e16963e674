// The evidence of names: a number in them runs on.
#pragma once

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

struct NumbersVerdict {
  Evidence evidence{EvidenceKind::kNumbers};
  // The number between both is left out.
  bool skipsOne = false;
  // What runs on counts the chapters of a recording.
  bool isChapter = false;
};

// `clockRises`: the second clip is the later one, so that its number should not be lower.
NumbersVerdict JudgeNumbers(const Family& family, std::size_t before, std::size_t behind,
                            bool clockRises);

}  // namespace clipchain
