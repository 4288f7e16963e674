// Reads the names in a folder, and says where that fails.
#pragma once

#include <functional>
#include <system_error>

namespace clipchain {

// Calls for each name but "." and ".."; false ends it. The error that kept the rest from being
// read: the C library takes a folder that is gone for one that ended, and its names for all.
[[nodiscard]] std::error_code ReadFolder(int folder,
                                         const std::function<bool(const char* name)>& listener);

}  // namespace clipchain
