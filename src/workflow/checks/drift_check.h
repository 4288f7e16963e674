// How far picture and sound run apart when clips are appended.
#pragma once

#include <vector>

#include "workflow/clips/track_facts.h"
#include "workflow/findings/file_findings.h"
#include "workflow/seam.h"

namespace clipchain {

// The tracks of one clip, in the order of those of the first clip that they continue.
using ClipTracks = std::vector<TrackFacts>;

// Above the first a person may notice, above the second everybody does.
inline constexpr double kNoticeableDrift = 10;  // milliseconds
inline constexpr double kDisturbingDrift = 80;

// The drift at the end of each clip; nothing if the clips do not have the same tracks. Findings are
// about the first clip that begins that far apart, or about the last one where its end is meant.
std::vector<Seam> CheckDrift(const std::vector<ClipTracks>& clips,
                             std::vector<FileFindings>& findings);

}  // namespace clipchain
