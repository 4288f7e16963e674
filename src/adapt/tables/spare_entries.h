// Takes entries of tables away that speak of more samples than there are.
#pragma once

#include <cstddef>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

// Cuts "stsc", "stco" and "co64" where chunks have room for more samples than have sizes, and
// "ctts" where it goes on behind the last sample. What says too little stays as it is.
void AdaptSpareEntries(FitClip& clip, std::size_t index, FitReport& report);

}  // namespace clipchain
