// Tells whether what was rescued of a broken copy is there in a longer one, too.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace clipchain {

// The first of the clips that has the identifier of the rescued one and was not rescued itself, and
// whose media begins with all that the rescued one has; nothing where there is none, or where the
// rescued clip has no identifier.
std::optional<std::string> WholeOf(const std::string& rescued,
                                   const std::vector<std::string>& clips);

// The same among rescued clips: one that has more.
std::optional<std::string> LongerOf(const std::string& rescued,
                                    const std::vector<std::string>& others);

// Whether a file begins with all bytes of another one.
bool BeginsWithBytesOf(const std::string& whole, const std::string& part);

}  // namespace clipchain
