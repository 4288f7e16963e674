// Merges clips and leaves either the complete, verified result or nothing.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "foundation/result.h"
#include "workflow/check.h"
#include "workflow/companion.h"
#include "workflow/finding.h"
#include "workflow/fitting.h"
#include "workflow/leftovers.h"
#include "workflow/reflink.h"

namespace clipchain {

enum class Verification {
  // Structure, sums, and the bytes of the samples on both sides of each seam.
  kSeams,
  // Structure, sums, and the bytes of every sample, read back from the disk.
  kFull
};

struct SafeMergeOptions {
  // What is checked beforehand: the output, which an `overwrite` replaces by the final rename only;
  // the progress, which is told about every phase and not asked any more once the output has its
  // name.
  CheckOptions check{};
  // Go on in spite of findings that risk the result alone.
  bool force = false;
  Verification verification = Verification::kSeams;
  // Put the movie box ahead of the media, so that who gets the result piece by piece can begin.
  bool faststart = false;
  // Share blocks of the clips with the output in place of copying their media.
  Reflink reflink = Reflink::kNever;
  // Writes files beside the output, which get their names before it. Lent; null for none.
  Companion* companion = nullptr;
  // Asked about each hidden file that an earlier run left behind beside this output; true removes
  // it. May be empty: they are named only.
  std::function<bool(const Leftover&)> removeLeftover{};
};

struct SafeMergeReport {
  // The output is complete, verified and on the disk.
  bool done = false;
  // Of the check before and of everything after.
  Findings findings;
  // What was done to the clips, so that they fit; empty if they were merged as they are.
  std::vector<Adapted> adaptations;
  // Of the output, in bytes; 0 unless it has its name.
  long long size = 0;
  // Of them, on blocks that are the clips' too.
  long long shared = 0;
  // The engine's last code.
  HRESULT result = S_OK;
};

// Checks the inputs, adapts those that do not fit as they are, merges them into a hidden file
// beside the output, verifies that file, flushes it, gives it the output's name, which no other
// file may have taken, and flushes the folder. What fails leaves no output, or the old one, and
// removes the hidden file; only if the folder's flush fails, at the very end, the complete output
// stays without being `done`. Inputs are only read.
//
// No signal is handled here: whoever wants to stop at one lets the progress answer false. Signals
// that a failing write raises (SIGXFSZ) are the caller's to ignore.
[[nodiscard]] CLIPCHAIN_API SafeMergeReport SafeMerge(const std::vector<std::string>& inputs,
                                                      const SafeMergeOptions& options);

}  // namespace clipchain
