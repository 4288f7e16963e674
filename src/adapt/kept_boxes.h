// Finds what the engine would not write as it was read, by letting it read and write a movie box.
#pragma once

#include <memory>

#include "adapt/adaptation.h"

namespace clipchain {

// Says which sample descriptions, references between tracks and other boxes of a clip the engine
// would drop or write otherwise, or could not read at all. All of the first clip's movie box is put
// back by `Fit` itself, and none of it is shown to the engine.
std::unique_ptr<Adaptation> MakeKeptBoxes();

}  // namespace clipchain
