#include "foundation/guid.h"

#include <cstring>

namespace QUIRVA {

_GUID BigEndianToGuid(const unsigned char* bytes, unsigned int /*size*/) {
  WireGuid wire;
  std::memcpy(&wire, bytes, sizeof wire);
  _GUID guid{wire.first, wire.second, wire.third, {}};
  std::memcpy(guid.Data4, wire.last, sizeof guid.Data4);
  return guid;
}

WireGuid GuidToBigEndian(const _GUID& id) {
  WireGuid wire;
  wire.first = static_cast<std::uint32_t>(id.Data1);
  wire.second = id.Data2;
  wire.third = id.Data3;
  std::memcpy(wire.last, id.Data4, sizeof wire.last);
  return wire;
}

}  // namespace QUIRVA
