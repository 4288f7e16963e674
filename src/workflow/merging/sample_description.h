// Sample descriptions with and without what they declare about bit rates.
#pragma once

#include <string>
#include <vector>

#include "workflow/merging/sample_reader.h"

namespace clipchain::samples {

// What an "esds" (ISO/IEC 14496-1, clause 7.2.6.6) or a "btrt" declares.
struct BitRates {
  std::uint32_t buffer;
  std::uint32_t most;
  std::uint32_t average;

  bool operator==(const BitRates&) const = default;
};

struct Description {
  std::string bare;  // the entry's bytes, zeros for what is declared about bit rates
  std::vector<BitRates> rates;
};

// Takes a whole entry of an "stsd" apart, of a track with that handler. Of an entry whose boxes are
// not where they should be everything counts as it stands.
Description DescriptionOf(View entry, std::uint32_t handler);

}  // namespace clipchain::samples
