// Finds and removes the hidden files that killed runs have left beside an output.
#pragma once

#include <string>
#include <system_error>
#include <vector>

#include "foundation/export.h"

namespace clipchain {

struct Leftover {
  std::string path;
  // In bytes.
  long long size;
};

// The hidden files of that output that were left behind. Those that a process works on, or that
// can't be looked at, are not among them.
CLIPCHAIN_API std::vector<Leftover> FindLeftovers(const std::string& output);

// Removes one. Answers the error of the system: std::errc::operation_would_block if a process works
// on it by now.
[[nodiscard]] CLIPCHAIN_API std::error_code RemoveLeftover(const Leftover& leftover);

}  // namespace clipchain
