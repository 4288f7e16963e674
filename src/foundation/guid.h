// The 128-bit identifier of interfaces, clips and "uuid" boxes.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/big_endian.h"

// A plain record, compared and passed by value. All zero means that there is none.
struct _GUID {
  unsigned long Data1;    // first group; only the low 32 bits are ever used
  std::uint16_t Data2;    // second group
  std::uint16_t Data3;    // third group
  std::uint8_t Data4[8];  // the last two groups, in textual order

  constexpr bool operator==(const _GUID& other) const {
    if (Data1 != other.Data1 || Data2 != other.Data2 || Data3 != other.Data3) return false;
    for (int i = 0; i < 8; ++i) {
      if (Data4[i] != other.Data4[i]) return false;
    }
    return true;
  }
};

namespace QUIRVA {

// The identifier that 16 bytes of a file spell, first group first, big-endian. Reads 16 bytes
// whatever `size` says.
_GUID BigEndianToGuid(const unsigned char* bytes, unsigned int size);

// An identifier as it stands in a file.
struct WireGuid {
  be32 first;
  be16 second;
  be16 third;
  unsigned char last[8];
};
static_assert(sizeof(WireGuid) == 16);

WireGuid GuidToBigEndian(const _GUID& id);

// "85c0b687-820f-11e0-8111-f4ce462b6a48".
std::string GuidText(const _GUID& id);

}  // namespace QUIRVA
