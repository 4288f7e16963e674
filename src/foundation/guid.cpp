#include "foundation/guid.h"

#include <cstring>

#include "foundation/big_endian.h"

namespace QUIRVA {

namespace {

struct WireGuid {
  be32 first;
  be16 second;
  be16 third;
  unsigned char last[8];
};
static_assert(sizeof(WireGuid) == 16);

}  // namespace

_GUID BigEndianToGuid(const unsigned char* bytes, unsigned int /*size*/) {
  WireGuid wire;
  std::memcpy(&wire, bytes, sizeof wire);
  _GUID guid{wire.first, wire.second, wire.third, {}};
  std::memcpy(guid.Data4, wire.last, sizeof guid.Data4);
  return guid;
}

}  // namespace QUIRVA
