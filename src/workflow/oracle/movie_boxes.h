// Compares the boxes of a movie beside those that a merge makes anew.
#pragma once

#include <utility>
#include <vector>

#include "workflow/oracle/oracle_findings.h"
#include "workflow/oracle/sample_oracle.h"
#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

// Of the clip, of the result.
using TrackPair = std::pair<const TrackView*, const TrackView*>;

// Compares the movie of the first clip with that of the result, whose tracks are those of the clip
// in their order: headers but for times and identifiers that follow from the merge, and every other
// box byte for byte. Boxes of types that are dropped on purpose may be missing, and where chapters
// are intended, those of "udta" are another matter. Sample tables, descriptions and edit lists are
// another matter, and left alone.
void CompareMovieBoxes(const SampleFile& clip, const SampleFile& result,
                       const std::vector<TrackPair>& tracks, const Intended& intended,
                       OracleFindings& findings);

}  // namespace clipchain::samples
