// Whether an input fits the first one, by the engine's rules.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "workflow/file_findings.h"

namespace clipchain {

struct TrackPair {
  MP4G::CTrackBox* first;   // of the first input
  MP4G::CTrackBox* second;  // its continuation
};

// Says, for the movie of one input alone, what a merge needs and does not find. `alone`: there is
// no other input, and some of it is not asked for.
void CheckMergeable(MP4G::CMovieBox* movie, bool alone, FileFindings& findings);

// Says everything by which the second movie does not fit the first one, which is that of the file
// `firstName`, and what the engine takes but a person would regret. Answers the tracks that
// continue each other.
std::vector<TrackPair> CheckMatch(MP4G::CMovieBox* first, const std::string& firstName,
                                  MP4G::CMovieBox* second, FileFindings& findings);

}  // namespace clipchain
