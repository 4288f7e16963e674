// How clips are fitted to each other in a merge.
#pragma once

#include "adapt/fit_options.h"

namespace clipchain {

// What the options of a check say about it; without a word, clips are merged as they are.
template <class Options>
FitOptions FittingOf(const Options& options) {
  FitOptions fitting;
  if constexpr (requires { options.fitting; }) {
    fitting.exact = options.fitting.exact;
    fitting.commonTracks = options.fitting.commonTracks;
    fitting.keepCuts = options.fitting.keepCuts;
    fitting.seamsAsTheyAre = options.fitting.seamsAsTheyAre;
  } else {
    fitting.exact = true;
  }
  return fitting;
}

// The other way.
template <class Options>
void SetFitting(Options& options, const FitOptions& fitting) {
  if constexpr (requires { options.fitting; }) {
    options.fitting.exact = fitting.exact;
    options.fitting.commonTracks = fitting.commonTracks;
    options.fitting.keepCuts = fitting.keepCuts;
    options.fitting.seamsAsTheyAre = fitting.seamsAsTheyAre;
  }
}

}  // namespace clipchain
