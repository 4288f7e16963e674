// Pairs a track of the first clip with the one of a later clip that continues it.
#pragma once

#include "box/structural_boxes.h"

namespace clipchain {

struct TrackPair {
  MP4G::CTrackBox* first;   // of the first input
  MP4G::CTrackBox* second;  // its continuation
};

}  // namespace clipchain
