// How clips are fitted to each other in a merge: what an application says, and what the adaptation
// takes.
#pragma once

#include "adapt/fit_options.h"
#include "workflow/check.h"

namespace clipchain {

inline FitOptions FittingOf(const CheckOptions& options) {
  FitOptions fitting;
  fitting.exact = options.fitting.exact;
  fitting.commonTracks = options.fitting.commonTracks;
  fitting.seamsAsTheyAre = options.fitting.seamsAsTheyAre;
  return fitting;
}

inline void SetFitting(CheckOptions& options, const FitOptions& fitting) {
  options.fitting.exact = fitting.exact;
  options.fitting.commonTracks = fitting.commonTracks;
  options.fitting.seamsAsTheyAre = fitting.seamsAsTheyAre;
}

}  // namespace clipchain
