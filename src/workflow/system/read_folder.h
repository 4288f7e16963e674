// Reads the names in a folder, and says where that fails.
#pragma once

#include <functional>
#include <system_error>

namespace clipchain {

struct FolderEntry {
  // Lent until the next one.
  const char* name;
  // As in <dirent.h>, DT_UNKNOWN where the file system does not tell it with the names.
  unsigned char kind;
};

// Calls for each entry but "." and ".."; false ends it. The error that kept the rest from being
// read: the C library takes a folder that is gone for one that ended, and its names for all.
[[nodiscard]] std::error_code ReadFolder(
    int folder, const std::function<bool(const FolderEntry& entry)>& listener);

}  // namespace clipchain
