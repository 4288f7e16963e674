// Every box that the engine gives children, whatever fields stand in front of them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "box/box.h"
#include "support/bytes.h"

namespace support {

struct ParentBox {
  std::string type;
  // Between its header and its children.
  unsigned int fields;
  Bytes bytes;
  // As it was parsed.
  std::unique_ptr<MP4G::CBox> box;
};

// Each with so many children, which are empty free boxes, and once for each kind of fields with
// which it is read.
std::vector<ParentBox> AllParentBoxes(unsigned int children);

}  // namespace support
