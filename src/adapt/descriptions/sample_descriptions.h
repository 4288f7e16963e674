// Compares sample descriptions of tracks that continue each other as bytes.
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"

namespace clipchain {

// Compares the descriptions of each track with the first clip's, byte for byte but for declared bit
// rates and buffer sizes. Where only these differ, the result says the largest of each and the
// average over its media; whatever else differs is refused.
std::unique_ptr<Adaptation> MakeSampleDescriptions();

}  // namespace clipchain
