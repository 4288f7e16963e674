// Finds the tracks of the first clip that those of later clips continue.
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"
#include "adapt/fit_options.h"

namespace clipchain {

// Puts the tracks of each clip in the order of the first one's. Partners are of one kind of media
// and one type of sample entry; of several, those with the same description, name and language come
// first, then those with the same description, then the first one. A clip that lacks a track or has
// one too many is refused; with `commonTracks` the tracks that not all have are taken out of all
// clips, and references to them out of the others.
std::unique_ptr<Adaptation> MakeTrackOrder(const FitOptions& options);

}  // namespace clipchain
