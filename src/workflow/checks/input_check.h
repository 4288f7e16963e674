// Checks whether the engine can read one input at all, and what of its media is there.
#pragma once

#include "workflow/clips/clip_file.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Parses the file unless that would be useless, and says what is wrong with it as a file: what the
// engine refuses, media that is cut off, several media boxes, fragments. Answers whether there is a
// tree to go on with.
bool CheckInput(ClipFile& clip, FileFindings& findings);

}  // namespace clipchain
