// Puts samples in fragments into the tables of one movie.
#pragma once

#include <cstddef>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

// Gives a clip with fragments, or with a movie box that announces them, the movie box that it would
// have without: all samples in tables, and what is shown when as it was. Refuses fragments
// that are damaged or say more than tables can, and a movie box that announces samples which are
// nowhere in the file.
void AdaptFragments(FitClip& clip, std::size_t index, FitReport& report);

}  // namespace clipchain
