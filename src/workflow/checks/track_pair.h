// Pairs a track of the first clip with the one of a later clip that continues it.
#pragma once

#include "box/structural_boxes.h"

namespace clipchain {

struct TrackPair {
  // Of the first input.
  MP4G::CTrackBox* first;
  // Its continuation.
  MP4G::CTrackBox* second;
};

}  // namespace clipchain
