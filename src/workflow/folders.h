// Makes folders for results.
#pragma once

#include <optional>
#include <string>

#include "foundation/export.h"
#include "workflow/finding.h"

namespace clipchain {

// Creates the last component of a folder's path if it is missing. What speaks against it, if
// anything does.
[[nodiscard]] CLIPCHAIN_API std::optional<Finding> MakeFolder(const std::string& path);

}  // namespace clipchain
