// Looks whether the samples of clips lie in their media.
#pragma once

#include <memory>

#include "adapt/adaptation.h"

namespace clipchain {

// Changes nothing: refuses clips with chunks that do not lie in one of their media boxes as a
// whole, by their places in the file. Behind it media is moved, and nobody would see it any more.
std::unique_ptr<Adaptation> MakeMediaPlaces();

}  // namespace clipchain
