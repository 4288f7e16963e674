// Computes by what bytes are known again without being kept.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace clipchain {

using Digest = std::array<std::uint64_t, 2>;

// Tells bytes that were not made to have the same digest apart. Evidence proposes and decides
// nothing: what has to be proven is compared byte by byte.
Digest DigestOf(std::span<const unsigned char> bytes);

}  // namespace clipchain
