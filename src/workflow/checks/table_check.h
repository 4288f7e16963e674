// Checks whether one track's tables agree with each other and with the media.
#pragma once

#include "box/structural_boxes.h"
#include "workflow/clips/clip_file.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Says where samples have no media, lie outside of it or in a media box that is left out, where
// tables speak of different numbers of samples, and which tables a merge can't keep.
void CheckTables(const ClipFile& clip, MP4G::CTrackBox* track, FileFindings& findings);

}  // namespace clipchain
