#include "adapt/boxes/item_places.h"

#include <cstdint>

#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;
using Span = std::span<const unsigned char>;

constexpr std::size_t kVersionAndFlags = 4;
constexpr unsigned int kMostVersion = 2;

// A number of 16 or 32 bits.
bool TakeNumber(Span& in, bool isWide, std::uint32_t& number) {
  be16 narrow;
  be32 wide;
  if (isWide ? !TakeField(in, wide) : !TakeField(in, narrow)) return false;
  number = isWide ? std::uint32_t{wide} : narrow;
  return true;
}

struct Item {
  // 0: in the file, 1: in this box itself, 2: in another item.
  unsigned int method = 0;
  // 0: in this file.
  unsigned int reference = 0;
  unsigned int extents = 0;

  bool IsInFile() const { return method == 0 && reference == 0 && extents != 0; }
};

// Takes an item with all its extents. False: there are fewer bytes.
bool TakeItem(Span& in, unsigned int version, std::size_t baseSize, std::size_t extentSize,
              Item& item) {
  constexpr unsigned int kMethod = 0xF;
  std::uint32_t id = 0;
  be16 method;
  be16 reference;
  be16 extents;
  method = 0;
  if (!TakeNumber(in, version == 2, id) || (version != 0 && !TakeField(in, method)) ||
      !TakeField(in, reference) || in.size() < baseSize)
    return false;
  in = in.subspan(baseSize);
  if (!TakeField(in, extents) || in.size() < extents * extentSize) return false;
  in = in.subspan(extents * extentSize);
  item = {method & kMethod, reference, extents};
  return true;
}

bool NamesPlaces(const RawBox& iloc) {
  Span in = iloc.data;
  be32 versionAndFlags;
  be16 sizes;
  std::uint32_t count = 0;
  if (!TakeField(in, versionAndFlags) || !TakeField(in, sizes)) return true;
  const unsigned int version = versionAndFlags >> 24;
  if (version > kMostVersion || !TakeNumber(in, version == 2, count)) return true;
  // Four bits each: of an offset, a length, a base and an index, in bytes.
  const auto size = [&sizes](unsigned int shift) { return std::size_t{sizes} >> shift & 0xF; };
  const std::size_t extent = size(12) + size(8) + (version != 0 ? size(0) : 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    Item item;
    if (!TakeItem(in, version, size(4), extent, item) || item.IsInFile()) return true;
  }
  return false;
}

// Files of the older kind have neither version nor flags in front of the boxes.
Span BoxesOf(const RawBox& meta) {
  Span in = meta.data;
  RawBox first;
  Span from = in;
  if (first.Take(from) && first.type == FourCc("hdlr")) return in;
  return in.size() < kVersionAndFlags ? Span() : in.subspan(kVersionAndFlags);
}

}  // namespace

bool NamesPlacesInFile(const RawBox& meta) {
  Span in = BoxesOf(meta);
  RawBox box;
  while (box.Take(in)) {
    if (box.type == FourCc("iloc") && NamesPlaces(box)) return true;
  }
  return false;
}

}  // namespace clipchain
