// Finds the tracks of a movie box, and names them for people.
#pragma once

#include <string>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// The tracks of a movie box, in its order. Lent.
std::vector<RawBox*> TracksOf(RawBox& movie);
std::vector<const RawBox*> TracksOf(const RawBox& movie);
// "track 2 (hvc1)", by its own identifier and first sample entry, for notes.
std::string RawTrackWords(const RawBox& track);
unsigned int RawTrackId(const RawBox& track);

}  // namespace clipchain
