// Says where two boxes differ first.
#pragma once

#include <optional>
#include <string>

#include "box/box.h"

namespace clipchain {

struct BoxDifference {
  // Of the second tree: the first box that differs, or its parent where it is missing.
  const MP4G::CBox* box = nullptr;
  // "width"; "byte 41" where the field has no name here.
  std::string field;
  // The values on both sides; "nothing" where there is none.
  std::string first;
  std::string second;
};

// Compares the boxes as the engine would write them, in the order of the file. Nothing if they are
// alike.
std::optional<BoxDifference> FirstDifference(const MP4G::CBox& first, const MP4G::CBox& second);

}  // namespace clipchain
