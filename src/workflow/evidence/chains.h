// Chooses the links that hold where clips could be linked in several ways, and makes chains of
// them.
#pragma once

#include <cstddef>
#include <vector>

#include "workflow/evidence/link.h"

namespace clipchain {

// A link between two units, which are clips or open sequences; by their ends in a family.
struct UnitLink {
  std::size_t before = 0;
  std::size_t behind = 0;
  std::size_t family = 0;
  Link link;
};

struct Chain {
  std::vector<std::size_t> units;
  // One less than units.
  std::vector<UnitLink> links;
  // At an end it could go on in several ways.
  bool isUnclear = false;

  Grade WeakestGrade() const;
};

// Takes the strongest links first. Where two of the same strength lead from one unit, or to one,
// nobody knows which one holds, and neither does. `identified`: the units that have identifiers; no
// chain has two of them.
std::vector<Chain> ChainsOf(const std::vector<bool>& identified, std::vector<UnitLink> links);

}  // namespace clipchain
