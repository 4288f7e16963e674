// Reads and changes declared bit rates and buffer sizes inside of sample descriptions: "btrt"
// (ISO/IEC 14496-12, 8.5.2.2) and the decoder configuration of "esds" (ISO/IEC 14496-1, 7.2.6.6).
#pragma once

#include <cstddef>
#include <vector>

#include "adapt/raw_boxes.h"

namespace clipchain {

struct RateField {
  enum class Kind { kBuffer, kMost, kAverage } kind;
  // In the bytes of the descriptions.
  std::size_t at;
  // Bytes.
  std::size_t width;
  // The type of the box that it stands in.
  unsigned int box = 0;

  bool operator==(const RateField&) const = default;
};

// The fields in the body of a "stsd", in its order. Whatever is damaged has none.
std::vector<RateField> RateFieldsOf(const Bytes& stsd);

unsigned int RateAt(const Bytes& stsd, const RateField& field);
void SetRate(Bytes& stsd, const RateField& field, unsigned int value);

// The same bytes with zeros in these fields.
Bytes WithoutBitRates(const Bytes& stsd);
// The same, and without the boxes of its entries that hold nothing else.
Bytes WithoutRateBoxes(const Bytes& stsd);

}  // namespace clipchain
