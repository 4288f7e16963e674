// Makes cells that several tables have.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"

namespace clipchain {

// Tells how a recording stands, as wide as its column.
std::string StateCell(bool identified, bool closedAtHead, bool closedAtTail, const Paint& paint);

}  // namespace clipchain
