// Checks whether an input fits the first one, by the engine's rules.
#pragma once

#include <string>
#include <vector>

#include "box/top_level_boxes.h"
#include "workflow/checks/track_pair.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// Says, for the movie of one input alone, what a merge needs and does not find. `alone`: there is
// no other input, and some of it is not asked for.
void CheckMergeable(MP4G::CMovieBox* movie, bool alone, FileFindings& findings);

// Says everything by which the second movie does not fit the first one, which is that of the file
// `firstName`, and what the engine takes but a person would regret. Answers the tracks that
// continue each other.
std::vector<TrackPair> CheckMatch(MP4G::CMovieBox* first, const std::string& firstName,
                                  MP4G::CMovieBox* second, FileFindings& findings);

}  // namespace clipchain
