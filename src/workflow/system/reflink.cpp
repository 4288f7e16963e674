#include "workflow/reflink.h"

#include <algorithm>
#include <iterator>

namespace clipchain {

namespace {

constexpr std::string_view kNames[] = {"never", "auto", "always"};

}  // namespace

std::string_view ReflinkName(Reflink reflink) { return kNames[static_cast<std::size_t>(reflink)]; }

std::optional<Reflink> ReflinkOfName(std::string_view name) {
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<Reflink>(found - std::begin(kNames));
}

}  // namespace clipchain
