// Puts samples in fragments into the tables of one movie.
#pragma once

#include <memory>

#include "adapt/adaptation.h"

namespace clipchain {

// Gives each clip with fragments, or with a movie box that announces them, the movie box that it
// would have without: all samples in tables, and what is shown when as it was. Refuses fragments
// that are damaged, protected or say more than tables can, and a movie box that announces samples
// which are nowhere in the file.
std::unique_ptr<Adaptation> MakeFragments();

}  // namespace clipchain
