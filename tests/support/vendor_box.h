// The box in which a camera describes a clip: made from its parts, and put into whole files.
#pragma once

#include "foundation/guid.h"
#include "support/bytes.h"

namespace support {

// An identifier that is all `number`, easy to tell from others; 0 gives the all-zero one.
_GUID Id(std::uint8_t number);
// The 16 bytes of an identifier in a file.
Bytes GuidBytes(const _GUID& id);

// The children, each whole with its header.
Bytes MarkerBox();                                                              // "VRCV"
Bytes IdentifierBox(const _GUID& unique, const _GUID& next, const _GUID& pre);  // "VRFB"
Bytes PlaceBox(const _GUID& unique, const _GUID& next, const _GUID& pre);       // "VROP" with it
// The start of a JPEG stream with that Exif (TIFF) data, and "VRTH" with it.
Bytes ThumbnailStream(const Bytes& tiff);
Bytes ThumbnailBox(const Bytes& tiff);

// A "uuid" box around the children given.
Bytes VendorBoxOf(std::initializer_list<Bytes> children);

// A camera's usual vendor box.
struct VendorBox {
  _GUID unique{};
  _GUID next{};
  _GUID pre{};
  Bytes tiff;  // the thumbnail's Exif data; without it there is no thumbnail

  Bytes Build() const;
};

// The file with `box` as the last child of its "moov". Where that stands in front of media, the
// chunk offsets that point behind it move along. Both sizes must be 32-bit ones.
Bytes WithVendorBox(const Bytes& file, const Bytes& box);
Bytes WithVendorBox(const Bytes& file, const VendorBox& box);

}  // namespace support
