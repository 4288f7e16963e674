// Names when a result shares the blocks of its clips in place of copying them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/export.h"

namespace clipchain {

enum class Reflink {
  // The result has bytes of its own.
  kNever,
  // What can be shared is; all else is copied.
  kAuto,
  // A result whose media can't be shared is not made.
  kAlways,
};

// Of "never", "auto", "always".
CLIPCHAIN_API std::optional<Reflink> ReflinkOfName(std::string_view name);

}  // namespace clipchain
