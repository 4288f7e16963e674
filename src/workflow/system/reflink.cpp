#include "workflow/reflink.h"

#include <algorithm>
#include <iterator>

namespace clipchain {

namespace {

// In the order of the enumeration: the place of a name is its value.
constexpr std::string_view kNames[] = {"never", "auto", "always"};

}  // namespace

std::optional<Reflink> ReflinkOfName(std::string_view name) {
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<Reflink>(found - std::begin(kNames));
}

}  // namespace clipchain
