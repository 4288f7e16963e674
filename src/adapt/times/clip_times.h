// Brings the clocks of the clips together: units, edit lists, seams.
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"
#include "adapt/fit_options.h"
#include "adapt/times/seams.h"

namespace clipchain {

// Counts the times of later clips in the first one's units, holds samples at the seams, and gives
// the result the first clip's edit lists, to the end of all media, and durations that agree with
// it. Stands behind all that changes tracks, their order and their times. Fills `clocks`, which
// must outlive it, with what the clips say and how long samples are held; leaves it empty for a
// clip alone, and where times can't be read.
std::unique_ptr<Adaptation> MakeClipTimes(const FitOptions& options, ClipClocks& clocks);

}  // namespace clipchain
