// Compares sample descriptions with and without what they declare about bit rates.
#pragma once

#include <string>
#include <vector>

#include "workflow/merging/sample_reader.h"

namespace clipchain::samples {

// What an "esds" (ISO/IEC 14496-1, clause 7.2.6.6) or a "btrt" declares.
struct BitRates {
  // In a box of its own, "btrt".
  bool alone;
  std::uint32_t buffer;
  std::uint32_t most;
  std::uint32_t average;

  bool operator==(const BitRates&) const = default;
};

struct Description {
  // The entry's bytes without its size and boxes "btrt", zeros for what else is declared about bit
  // rates.
  std::string bare;
  std::vector<BitRates> rates;

  // The rates that stand where those number `index` of `other` do; zeros where nothing does.
  BitRates Like(const Description& other, std::size_t index) const;
};

// Takes a whole entry of an "stsd" apart, of a track with that handler. Of an entry whose boxes are
// not where they should be everything counts as it stands.
Description DescriptionOf(View entry, std::uint32_t handler);

}  // namespace clipchain::samples
