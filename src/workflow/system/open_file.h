// Opens files to read them.
#pragma once

#include <fcntl.h>

#include <string>

#include "workflow/system/descriptor.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

// Without waiting for whoever writes to a pipe of that name. Negative if it can't be opened; errno
// says why.
inline Descriptor OpenToRead(const std::string& path, int flags = 0) {
  return Descriptor(Uninterrupted(
      [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags); }));
}

}  // namespace clipchain
