// Tells whether what was rescued of a broken copy is there in a longer one, too.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/guid.h"

namespace clipchain {

struct IdentifiedClip {
  std::string path;
  // Zero where it has none.
  _GUID id;
};
std::vector<IdentifiedClip> Identify(const std::vector<std::string>& clips);

// The first of the clips that has the identifier of the rescued one and was not rescued itself, and
// whose media begins with all that the rescued one has; nothing where there is none, or where the
// rescued clip has no identifier.
std::optional<std::string> WholeOf(const IdentifiedClip& rescued,
                                   const std::vector<IdentifiedClip>& clips);

// The last of the rescued clips each of which has more than the one before in the same way.
std::optional<std::string> LongestOf(const IdentifiedClip& rescued,
                                     const std::vector<IdentifiedClip>& others);

// Whether a file begins with all bytes of another one.
bool BeginsWithBytesOf(const std::string& whole, const std::string& part);

}  // namespace clipchain
