// Says in which field sample descriptions differ, for a person.
#pragma once

#include <string>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// How the "stsd" of a later track differs from the first clip's, which is called `name`; what
// declares rates and frames of the whole media aside. Both are of tracks of that kind ("vide", …).
std::string DescriptionDifference(const RawBox& first, const RawBox& later, unsigned int kind,
                                  const std::string& name);

}  // namespace clipchain
