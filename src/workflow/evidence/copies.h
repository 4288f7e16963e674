// Finds which clips are copies of one another.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "workflow/evidence/recordings.h"

namespace clipchain {

// Units with equal movie boxes, sizes and first timecodes, and equal media as far as it is looked
// at: chapters of one length may be equal in all else. A clip whose media can't be read is no copy.
// Where there is nothing to be seen of the media, clips that a camera numbered one after another in
// one folder are no copies. One unit stands for all of its copies: one that lies where most clips
// of the same description do, and has a name as most of them have there.
class Copies {
 public:
  explicit Copies(const std::vector<EvidenceUnit>& units);

  // All that this unit stands for, itself too. Empty where another one stands for it.
  const std::vector<std::size_t>& Of(std::size_t unit) const;

  // The copies that lie together, as far as they do.
  std::vector<std::size_t> InOneFolder(std::vector<std::size_t> chain) const;

 private:
  const std::vector<EvidenceUnit>& units_;
  std::map<std::size_t, std::vector<std::size_t>> all_;
};

}  // namespace clipchain
