// Makes the clips of a merged file again, byte for byte.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/progress.h"

namespace clipchain {

struct SplitOptions {
  // Where the clips go; created if its last component is missing. Empty: DefaultSplitFolder().
  std::string folder;
  // Told about the clip that is made and the bytes written of all; false ends the work, which
  // leaves nothing behind.
  Progress progress{};
};

struct SplitClip {
  // Of the clip that was made, or would have been.
  std::string path;
  // It is there, complete, verified and on the disk.
  bool made = false;
  long long size = 0;
};

struct SplitReport {
  // All clips were made.
  bool done = false;
  // The merged file is damaged, and all that could be made was made.
  bool partly = false;
  // Empty where the archive could not be used.
  std::vector<SplitClip> clips;
  Findings findings;
};

// Beside the merged file, in a folder of its name without the ending; of a name without an ending,
// with ".clips" behind it.
CLIPCHAIN_API std::string DefaultSplitFolder(const std::string& merged);

// Makes each clip again from a merged file and its archive, "MERGED.originals": under a hidden
// name, flushed, read back and compared with its hash, with the time that it was modified at; then
// all of them get their names. Where a name is taken, or the archive is broken or of another file,
// nothing is made. Of a damaged merged file the clips are made that are what they were.
[[nodiscard]] CLIPCHAIN_API SplitReport Split(const std::string& merged,
                                              const SplitOptions& options);

}  // namespace clipchain
