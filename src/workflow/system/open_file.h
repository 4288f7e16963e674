// Opens files to read them.
#pragma once

#include <fcntl.h>

#include <string>

#include "foundation/platform/read_failures.h"
#include "workflow/system/descriptor.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

// Without waiting for whoever writes to a pipe of that name. Negative if it can't be opened; errno
// says why.
inline Descriptor OpenToRead(const std::string& path, int flags = 0) {
  const int file = Uninterrupted(
      [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags); });
  if (file < 0) QUIRVA::NoteReadFailure(path.c_str());
  return Descriptor(file);
}

}  // namespace clipchain
