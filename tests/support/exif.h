// Exif data, from the TIFF header on, built piece by piece.
#pragma once

#include <string_view>

#include "support/bytes.h"

namespace support {

enum class TiffOrder { kIntel, kMotorola };

inline constexpr std::uint16_t kTiffDateTime = 0x0132;
inline constexpr std::uint16_t kTiffExifDirectory = 0x8769;
inline constexpr std::uint16_t kTiffDateTimeOriginal = 0x9003;
inline constexpr std::uint16_t kTiffText = 2;    // type: characters
inline constexpr std::uint16_t kTiffNumber = 4;  // type: 32 bits
inline constexpr std::uint16_t kTiffOpaque = 7;  // type: bytes of no meaning

struct TiffEntry {
  std::uint16_t tag;
  std::uint16_t type;
  std::uint32_t count;
  std::uint32_t value;  // or where it is, from the start of the header
};

Bytes TiffHeader(TiffOrder order, std::uint32_t firstDirectory = 8);
Bytes TiffDirectory(TiffOrder order, const std::vector<TiffEntry>& entries);

// A block with DateTimeOriginal and nothing else.
Bytes ExifWithDate(std::string_view date, TiffOrder order = TiffOrder::kMotorola);

}  // namespace support
