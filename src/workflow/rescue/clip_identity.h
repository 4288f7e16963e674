// Reads and writes the identifiers by which a camera says which clip follows which.
#pragma once

#include <optional>
#include <string>
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

// A clip that lies beside a broken one.
struct NamedClip {
  std::string path;
  ClipNames names;
};

// What a broken clip is called: the clip in front of it names the one behind itself, and no clip
// has that name. In front is the clip whose file's name is the one before; where the files' names
// do not tell, the only one that names a clip that is not there. None, where nobody knows.
ClipNames NamesOfMissing(const std::string& broken, const std::vector<NamedClip>& clips);

}  // namespace clipchain::rescue
