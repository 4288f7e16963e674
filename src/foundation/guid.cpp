#include "foundation/guid.h"

#include <cstdio>
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

std::string GuidText(const _GUID& id) {
  char text[37];
  std::snprintf(text, sizeof text, "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                id.Data1 & 0xFFFFFFFF, id.Data2, id.Data3, id.Data4[0], id.Data4[1], id.Data4[2],
                id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
  return text;
}

}  // namespace QUIRVA
