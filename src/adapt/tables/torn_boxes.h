// Finds boxes of a movie box that end behind the box they stand in.
#pragma once

#include <cstddef>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

// Refuses a clip in which a box that holds tracks, tables or edit lists ends with bytes other than
// zeros that are no box: what they say would be lost, and nobody can tell what it is.
void RefuseTornBoxes(FitClip& clip, std::size_t index, FitReport& report);

}  // namespace clipchain
