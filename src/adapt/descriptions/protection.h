// Carries what protected samples need beside their bytes, which clips say by places in their files
// (ISO/IEC 23001-7).
#pragma once

#include <cstddef>
#include <memory>

#include "adapt/clips/adaptation.h"

namespace clipchain {

// Takes it out of where the clip's tables say that it is, into its movie box.
void AdaptProtection(FitClip& clip, std::size_t index, FitReport& report);
// Joins it, once all samples are in tables and tracks stand beside their partners.
std::unique_ptr<Adaptation> MakeJoinedProtection();

}  // namespace clipchain
