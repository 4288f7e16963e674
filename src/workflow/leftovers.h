// Finds and removes the hidden files that killed runs have left beside an output.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"

namespace clipchain {

struct Leftover {
  std::string path;
  long long size;  // in bytes
};

// The hidden files of that output that were left behind. Those that a process works on, or that
// can't be looked at, are not among them.
CLIPCHAIN_API std::vector<Leftover> FindLeftovers(const std::string& output);

// Removes one. Answers an error number of the system: EWOULDBLOCK if a process works on it by now,
// 0 for success.
[[nodiscard]] CLIPCHAIN_API int RemoveLeftover(const Leftover& leftover);

}  // namespace clipchain
