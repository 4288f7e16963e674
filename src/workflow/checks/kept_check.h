// Finds what of a movie box the engine does not keep.
#pragma once

#include "workflow/clips/clip_file.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Compares the boxes, as the engine would write them again, with the bytes of the file. To be
// called before anything changes the tree.
void CheckKept(const ClipFile& clip, FileFindings& findings);

}  // namespace clipchain
