// Finds the sample descriptions of one clip among those of another.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

struct MatchedDescriptions {
  // The body of a "stsd" with as many entries, in the same order and form, as the first clip's.
  // Each declares the bit rates of the later clip's entries that say the same, 0 where these
  // declare none; one that the later clip lacks is the first clip's.
  Bytes stsd;
  // For each description of the later clip its number there, counted from 1; 0 without one.
  std::vector<std::uint32_t> numbers;
};

// The bodies of two "stsd", and which descriptions of the later one have samples, counted from 1.
// Nothing: one that has samples says something else than all of the first clip, or one of the two
// is damaged.
std::optional<MatchedDescriptions> MatchDescriptions(const RawBox& first, const RawBox& later,
                                                     const std::set<std::uint32_t>& used);

}  // namespace clipchain
