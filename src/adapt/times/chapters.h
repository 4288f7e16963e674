// Lets each clip begin a chapter of the result.
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"
#include "adapt/fit_options.h"

namespace clipchain {

// Where the options ask for it. A chapter begins at the first picture of its clip, of those in the
// order in which they are shown, in the first track of pictures or, without one, the first track:
// at the moment at which the result shows it, edit list applied, rounded up to 100 ns so that
// nobody who goes there sees the clip before. Says what can't be titled: more clips than chapters,
// titles that are too long, and clips that have chapters themselves, which would be lost or stand
// between these.
std::unique_ptr<Adaptation> MakeChapters(const FitOptions& options);

}  // namespace clipchain
