// Says why something can't be, or could not be, done: words for a sentence, which each function
// tells how to begin. Nothing where nothing speaks against it, or where it was done.
#pragma once

#include <optional>
#include <string>

namespace clipchain {

using Reason = std::optional<std::string>;

}  // namespace clipchain
