// Reads and changes what sample descriptions declare about the media as a whole, which no decoder
// needs to know exactly: bit rates and buffer sizes in "btrt" (ISO/IEC 14496-12, 8.5.2.2), in the
// decoder configuration of "esds" (ISO/IEC 14496-1, 7.2.6.6) and in "dec3" (ETSI TS 102 366, F.6);
// largest frame and average rate in "alac"; frame sizes, number of samples and checksum in the
// STREAMINFO of "dfLa" (RFC 9639, 8.2).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

struct RateField {
  enum class Kind {
    kBuffer,
    kMost,
    kAverage,
    // The smallest or largest of something, 0 where nobody knows.
    kLeastKnown,
    kMostKnown,
    // True for the whole media of one clip alone; 0 where nobody knows.
    kOfOneClip,
  } kind;
  // In the bytes of the descriptions.
  std::size_t at;
  // Bytes, of which it takes `bits` above the lowest `shift`.
  std::size_t width;
  // The type of the box that it stands in, and where that begins.
  unsigned int box = 0;
  std::size_t boxAt = 0;
  unsigned int bits = 64;
  unsigned int shift = 0;

  bool operator==(const RateField&) const = default;
};

// The fields in the body of a "stsd", in its order. Whatever is damaged has none.
std::vector<RateField> RateFieldsOf(const Bytes& stsd);

std::uint64_t RateAt(const Bytes& stsd, const RateField& field);
// Other bits of its bytes stay.
void SetRate(Bytes& stsd, const RateField& field, std::uint64_t value);
// What is true of media of which one part declares `a` in such a field, and another `b`.
std::uint64_t RateOfBoth(RateField::Kind kind, std::uint64_t a, std::uint64_t b);

// The same bytes with zeros in these fields.
Bytes WithoutBitRates(const Bytes& stsd);
// The same, and without the boxes of its entries that hold nothing else.
Bytes WithoutRateBoxes(const Bytes& stsd);

}  // namespace clipchain
