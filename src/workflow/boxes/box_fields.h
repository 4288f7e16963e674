// Names the fields of the boxes that describe samples.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "box/box.h"

namespace clipchain {

struct BoxField {
  std::string name;
  // Its value on either side; "nothing" where a box is too short for it.
  std::string first;
  std::string second;
};

// The field that byte `at` belongs to. Both boxes are of the kind and type of `box`;
// their bytes are those ahead of any children.
BoxField FieldAt(const MP4G::CBox& box, std::span<const unsigned char> first,
                 std::span<const unsigned char> second, std::size_t at);

}  // namespace clipchain
