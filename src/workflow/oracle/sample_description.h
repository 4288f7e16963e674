// Compares sample descriptions with and without what they declare about the media as a whole.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workflow/oracle/sample_reader.h"

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

// What a "dfLa" (RFC 9639, section 8.2), an "alac" or a "dec3" (ETSI TS 102 366, F.6) says about
// all frames there are.
struct FrameStatistics {
  std::uint32_t box = 0;
  // The smallest frame and the largest one, 0: unknown; of "dec3" the bit rate.
  std::uint64_t least = 0;
  std::uint64_t most = 0;
  // The number of samples and the checksum of all; empty in boxes without them.
  std::string ofAll;

  bool operator==(const FrameStatistics&) const = default;
};

struct Description {
  // The entry's bytes without its size and boxes "btrt", zeros for what else is declared about bit
  // rates and frames.
  std::string bare;
  std::vector<BitRates> rates;
  // In the order of their boxes, which `bare` tells.
  std::vector<FrameStatistics> frames;

  // The rates that stand where those number `index` of `other` do; zeros where nothing does.
  BitRates Like(const Description& other, std::size_t index) const;
};

// Takes a whole entry of an "stsd" apart, of a track with that handler. Of an entry whose boxes are
// not where they should be everything counts as it stands.
Description DescriptionOf(View entry, std::uint32_t handler);

}  // namespace clipchain::samples
