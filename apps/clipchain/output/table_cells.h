// Cells that several tables have.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"

namespace clipchain {

// How a sequence stands, as wide as its column.
std::string StateCell(bool closedAtHead, bool closedAtTail, const Paint& paint);

}  // namespace clipchain
