// Checks whether a track fits the track that it is to continue.
#pragma once

#include <string>

#include "workflow/checks/track_pair.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

void CheckTrackPair(const TrackPair& pair, const std::string& firstName, FileFindings& findings);

}  // namespace clipchain
