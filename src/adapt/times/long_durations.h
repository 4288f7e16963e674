// Lets a result last longer than the headers of its clips can say.
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"

namespace clipchain {

// Gives the headers of all clips fields of 64 bits (version 1) where the clips together last longer
// than 32 bits count. Stands behind all that changes times.
std::unique_ptr<Adaptation> MakeLongDurations();

}  // namespace clipchain
