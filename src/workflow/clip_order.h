// Puts the clips of one recording in order.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"

namespace clipchain {

struct ClipOrder {
  // The clips as they were recorded; as they were given where that is not known.
  std::vector<std::string> clips;
  // Why it is not known, and which clips can't be read.
  Findings findings;
};

// Sorts clips by what stands in them, as a check judges their order: by identifiers that make one
// chain of them all, or, where no clip has any, by timecodes that run on frame by frame, or by
// dates. Reads movie boxes and first timecodes.
[[nodiscard]] CLIPCHAIN_API ClipOrder SortClips(const std::vector<std::string>& clips);

}  // namespace clipchain
