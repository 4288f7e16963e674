// Looks whether the samples of a clip lie in its media.
#pragma once

#include <cstddef>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

// Changes nothing: refuses a clip with chunks that do not lie in one of its media boxes as a whole,
// by their places in the file. Behind it media is moved, and nobody would see it any more.
void AdaptMediaPlaces(FitClip& clip, std::size_t index, FitReport& report);

}  // namespace clipchain
