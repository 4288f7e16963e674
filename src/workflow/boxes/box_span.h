// Walks over boxes that lie in memory one behind the other.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "adapt/boxes/box_header.h"

namespace clipchain {

// `Byte` is const where nothing is to be changed.
template <class Byte>
struct BoxSpan {
  unsigned int type = 0;
  // Behind the header.
  std::span<Byte> body;
};

// Takes the box at the start of `bytes` and moves behind it. Nothing, and nothing taken, where no
// box begins that ends within them. A size of 0 says that a box goes to the end of the file
// (ISO/IEC 14496-12, clause 4.2), which none inside of another can: zeros are no box.
template <class Byte>
std::optional<BoxSpan<Byte>> TakeBox(std::span<Byte>& bytes) {
  const auto header = TakeBoxHeader(bytes);
  if (!header || header->size == 0 || !header->FitsIn(bytes.size())) return std::nullopt;
  const auto size = static_cast<std::size_t>(header->size);
  const BoxSpan<Byte> box{header->type, bytes.first(size).subspan(header->headerSize)};
  bytes = bytes.subspan(size);
  return box;
}

}  // namespace clipchain
