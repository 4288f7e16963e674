// Closes a folder that was read at the end of its block.
#pragma once

#include <dirent.h>

#include <memory>

namespace clipchain {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

// Null for none.
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

}  // namespace clipchain
