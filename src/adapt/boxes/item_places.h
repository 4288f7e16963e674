// Finds boxes whose items lie at places of the file that they are read from (ISO/IEC 14496-12,
// 8.11.3).
#pragma once

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// Whether the box "meta" says of an item where in its own file it lies, or may say so: a table of
// places that can't be read counts. In another file those bytes are at another place.
bool NamesPlacesInFile(const RawBox& meta);

}  // namespace clipchain
