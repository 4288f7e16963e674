// Reads where a track says that its media lies: "dref" (ISO/IEC 14496-12, 8.7.2).
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"

namespace clipchain {

// Says of tracks that name other files that no sample lies in them. Refuses clips of whose samples
// the first clip's references, which stay, would say that they lie in another file.
std::unique_ptr<Adaptation> MakeDataReferences();

// Lets a track name no file but its own, if all of its samples lie there.
void NameOwnFileAlone(RawBox& track);

}  // namespace clipchain
