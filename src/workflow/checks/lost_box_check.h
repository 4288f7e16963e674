// Finds what a merge drops of later clips because it keeps the boxes of the first one.
#pragma once

#include <string>
#include <vector>

#include "box/top_level_boxes.h"
#include "workflow/checks/track_pair.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Says of which boxes of the second movie nothing reaches the result, one finding for each kind of
// box, and of which tables only those of the first movie's samples do. `pairs` are the tracks that
// continue each other, `firstName` is the file of the first movie.
void CheckLostBoxes(const MP4G::CMovieBox* first, const MP4G::CMovieBox* second,
                    const std::vector<TrackPair>& pairs, const std::string& firstName,
                    FileFindings& findings);

}  // namespace clipchain
