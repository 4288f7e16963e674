// Joins what clips say about the bounds of their composition times ("cslg", ISO/IEC 14496-12,
// 8.6.1.4).
#pragma once

#include <cstdint>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

class CompositionBounds {
 public:
  // Takes what the box among the children of "stbl" says, if there is one.
  void Append(const RawBox& table);
  // Puts the bounds of all samples of "stbl" in the place of its box, if any part had one; without
  // tables that can be read, it is taken out.
  void Write(RawBox& table) const;

 private:
  bool isThere_ = false;
  std::int64_t shift_ = 0;
};

}  // namespace clipchain
