// Reads and writes the identifiers by which a camera says which clip follows which.
#pragma once

#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain::rescue {

struct ClipNames {
  // 16 bytes each.
  Bytes own;
  // All zero: none follows.
  Bytes next;
  // All zero: none precedes.
  Bytes previous;
};

// Out of the camera's box in a movie box; nothing where it has none.
std::optional<ClipNames> ReadNames(const RawBox& movie);
// Puts others in their place.
void WriteNames(RawBox& movie, const ClipNames& names);
// All zero.
ClipNames NoNames();
bool IsName(const Bytes& name);

}  // namespace clipchain::rescue
