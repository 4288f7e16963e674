// Merges clips into a reader, such as a pipe, in one pass.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/safe_merge.h"

namespace clipchain {

struct StreamOptions {
  // The output is how findings name what is written; it is no file. Nothing is replaced or shared.
  CheckOptions check{};
  // Go on in spite of findings that risk the result alone.
  bool force = false;
  // Where the result is written; stays the caller's. What it is open on may be no clip.
  int descriptor = 1;
};

// Checks the inputs, adapts those that do not fit as they are, and puts all of the result but its
// media together in memory, with the movie box in front. Before the first byte is written, what
// will be is compared with the clips as `SafeMerge` compares a file, structure, sums and seams; the
// media then goes from the clips to the descriptor, in one pass. Nobody can read again what a pipe
// has taken: that it is complete is known where this is `done`, and only by that. A result of which
// a part was written before something failed is no complete file. Inputs are only read.
//
// The report's size is what was written, all of it or not. A reader that goes away raises no
// signal.
[[nodiscard]] CLIPCHAIN_API SafeMergeReport StreamMerge(const std::vector<std::string>& inputs,
                                                        const StreamOptions& options);

}  // namespace clipchain
