// Finds what the engine would not write as it was read, by letting it read and write a movie box.
#pragma once

#include <cstddef>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

// Says which sample descriptions, references between tracks and other boxes of the clip the engine
// would drop or write otherwise, or could not read at all. All of the first clip's movie box is put
// back by `Fit` itself, and none of it is shown to the engine.
void AdaptKeptBoxes(FitClip& clip, std::size_t index, FitReport& report);

}  // namespace clipchain
