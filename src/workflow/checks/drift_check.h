// Measures how far picture and sound are apart where clips are appended.
#pragma once

#include <vector>

#include "adapt/times/seams.h"
#include "workflow/findings/file_findings.h"
#include "workflow/seam.h"

namespace clipchain {

// In milliseconds: above the first a person may notice, above the second everybody does.
inline constexpr double kNoticeableDrift = 40;
inline constexpr double kDisturbingDrift = 80;

// How far sound and picture of the result are apart where each clip ends; nothing if the clips do
// not have the same tracks. There is one finding at most: about the first clip that begins
// disturbingly far apart, else the first one that does so noticeably, else the end of the last one,
// where only what exceeds the first clip's own difference counts.
std::vector<Seam> CheckDrift(const ClipClocks& clocks, std::vector<FileFindings>& findings);

}  // namespace clipchain
