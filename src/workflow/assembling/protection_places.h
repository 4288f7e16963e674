// Says in a merged movie box where in the file that lies which its protected samples need.
#pragma once

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// Sets the one offset of "saio" in each "stbl" whose track has a box "senc" to what is told of the
// first sample there, for a movie box that begins at that place of the file. One of another form
// stays as it is.
void PlaceProtection(Bytes& movie, unsigned long long position);

}  // namespace clipchain
