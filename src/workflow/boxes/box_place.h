// Finds where a box stands: its path through the tree and its position in the file.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "box/box.h"
#include "foundation/big_endian.h"

namespace clipchain {

// The places of the boxes of one tree, which must not change meanwhile. The children of a box are
// numbered once, however many of them are asked for.
class BoxPlaces {
 public:
  // "moov/trak[1]/mdia/minf/stbl/stsz": the number, from 0, stands where a parent has several
  // children of one type.
  std::string PathOf(const MP4G::CBox& box);

  // Of the first byte in the file. Holds for boxes as they were parsed.
  long long OffsetOf(const MP4G::CBox& box);

 private:
  struct Child {
    const MP4G::CBox* box;
    // From the first byte of the parent.
    long long distance;
    // Among those of its type.
    unsigned int index;
    // There are others of its type.
    bool hasTwin;
  };
  const Child& ChildOf(const MP4G::CBox& parent, const MP4G::CBox& box);

  // By parent, ordered by address.
  std::map<const MP4G::CBox*, std::vector<Child>> children_;
};

// The same for one box alone.
std::string PathOf(const MP4G::CBox& box);
long long OffsetOf(const MP4G::CBox& box);

// How far behind the first byte of `parent` its child begins; `behind` is where the child before it
// ends. Sample entries do not know where they stand: they follow one another, the first one behind
// version, flags and a count.
long long ChildDistance(const MP4G::CBox& parent, const MP4G::CBox& child, long long behind);
inline long long FirstEntryDistance(const MP4G::CBox& parent) {
  constexpr std::size_t kFields = sizeof(MP4G::_tagFULL_BOX) + sizeof(QUIRVA::be32);
  return parent.GetBoxBaseSize() + static_cast<long long>(kFields);
}

}  // namespace clipchain
