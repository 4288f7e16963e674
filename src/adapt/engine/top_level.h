// Makes the top level of a file one that the engine takes: boxes that the engine refuses, a missing
// file type box, several media boxes.
#pragma once

#include <cstddef>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

// Says what of the clip's top level the view passes over, what of it is lost, and that media lies
// in several boxes; makes nothing, for a view has neither but the file type, the media in a row and
// the movie.
void AdaptTopLevel(FitClip& clip, std::size_t index, FitReport& report);

}  // namespace clipchain
