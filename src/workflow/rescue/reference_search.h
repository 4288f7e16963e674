// Finds clips to learn from, beside a broken one.
#pragma once

#include <string>
#include <vector>

namespace clipchain::rescue {

// The clips in the folder of the broken one, those before it by name first, the
// nearest one first; then those behind it. Names alone decide the order, not
// what is in them.
std::vector<std::string> ClipsBeside(const std::string& broken);

}  // namespace clipchain::rescue
