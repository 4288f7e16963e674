// Makes the names of folders last.
#pragma once

#include <sys/types.h>

#include <set>
#include <system_error>
#include <utility>

namespace clipchain {

// By the numbers of their disks and their own.
using FlushedFolders = std::set<std::pair<dev_t, ino_t>>;

// Flushes the folders above one, as far up as its disk goes: a new folder whose name was not is
// gone after a loss of power, with all that was flushed in it. Those in `flushed`, and above them,
// are left out, and what was flushed is added.
[[nodiscard]] std::error_code FlushAbove(int folder, FlushedFolders& flushed);

}  // namespace clipchain
