// Names when a result shares the blocks of its clips in place of copying them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/export.h"

namespace clipchain {

enum class Reflink {
  kNever,   // the result has bytes of its own
  kAuto,    // what can be shared is; all else is copied
  kAlways,  // a result whose media can't be shared is not made
};

// "never", "auto", "always".
CLIPCHAIN_API std::string_view ReflinkName(Reflink reflink);
CLIPCHAIN_API std::optional<Reflink> ReflinkOfName(std::string_view name);

}  // namespace clipchain
