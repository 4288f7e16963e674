// Keeps beside merged clips the way back to them, and checksums.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "adapt/fit_options.h"
#include "foundation/export.h"
#include "workflow/companion.h"
#include "workflow/finding.h"
#include "workflow/progress.h"

namespace clipchain {

struct KeepOptions {
  // OUT.originals: all of the clips that is not in OUT.
  bool originals = false;
  // Notes the SHA-256 of each clip there, beside its XXH128.
  bool sha256 = false;
  // OUT.xxh: for "xxhsum -c", of OUT and of OUT.originals.
  bool checksums = false;

  bool Any() const { return originals || checksums; }
};

// For SafeMergeOptions::companion. Names that a clip can't have where it is made again, the name of
// a device for instance, are refused.
CLIPCHAIN_API std::unique_ptr<Companion> MakeCompanion(const KeepOptions& options);

// Writes what is missing beside an output that is what a merge of the clips gives. What is there
// already must be what would be written, every byte of it that counts, and stays as it is. What
// speaks against it, if anything does. `progress` may be empty; false ends the work.
[[nodiscard]] CLIPCHAIN_API Findings KeepBeside(const std::vector<std::string>& clips,
                                                const FitOptions& options,
                                                const std::string& output, const KeepOptions& keep,
                                                const Progress& progress);

}  // namespace clipchain
