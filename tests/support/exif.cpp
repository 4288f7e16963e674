#include "support/exif.h"

#include <algorithm>

namespace support {

namespace {

Bytes Ordered(TiffOrder order, Bytes number) {
  if (order == TiffOrder::kIntel) std::reverse(number.begin(), number.end());
  return number;
}

}  // namespace

Bytes TiffHeader(TiffOrder order, std::uint32_t firstDirectory) {
  return Join({Text(order == TiffOrder::kIntel ? "II" : "MM"), Ordered(order, U16(42)),
               Ordered(order, U32(firstDirectory))});
}

Bytes TiffDirectory(TiffOrder order, const std::vector<TiffEntry>& entries) {
  Bytes result = Ordered(order, U16(static_cast<std::uint16_t>(entries.size())));
  for (const TiffEntry& entry : entries) {
    result = Join({result, Ordered(order, U16(entry.tag)), Ordered(order, U16(entry.type)),
                   Ordered(order, U32(entry.count)), Ordered(order, U32(entry.value))});
  }
  return result + Ordered(order, U32(0));
}

Bytes ExifWithDate(std::string_view date, TiffOrder order) {
  const auto length = static_cast<std::uint32_t>(date.size() + 1);
  return Join({TiffHeader(order), TiffDirectory(order, {{kTiffExifDirectory, kTiffNumber, 1, 26}}),
               TiffDirectory(order, {{kTiffDateTimeOriginal, kTiffText, length, 44}}), Text(date),
               Zeros(1)});
}

}  // namespace support
