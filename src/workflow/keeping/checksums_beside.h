// Checks the checksums that lie beside what is kept.
#pragma once

#include <string>

#include "adapt/reason.h"
#include "workflow/keeping/comparison.h"
#include "workflow/keeping/kept_files.h"

namespace clipchain {

// Checks whether a file of checksums beside a file, if there is one, has those of the file and of
// nothing but its archive. `hash` has seen the file. Answers a whole sentence.
[[nodiscard]] Reason CheckChecksums(KeptFiles& kept, KeptFile& result, PassingHash& hash,
                                    const std::string& archiveHash);

}  // namespace clipchain
