#include "support/vendor_box.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace support {

namespace {

constexpr std::string_view kVendorUsertype = "85C0B687820F11E08111F4CE462B6A48";

// Calls `visit(type, offset, end)` for each box that starts in [from, to).
template <class Visit>
void ForEachBox(const Bytes& bytes, std::size_t from, std::size_t to, Visit visit) {
  while (from + 8 <= to) {
    std::uint64_t size = ReadU32(bytes, from);
    if (size == 1) size = ReadU64(bytes, from + 8);
    if (size == 0) size = to - from;
    if (size < 8 || size > to - from) throw std::invalid_argument("a box leaves its parent");
    const Bytes type = Slice(bytes, from + 4, from + 8);
    visit(std::string_view(reinterpret_cast<const char*>(type.data()), type.size()), from,
          from + static_cast<std::size_t>(size));
    from += static_cast<std::size_t>(size);
  }
}

// Adds `delta` to the chunk offsets at or behind `limit` of all tables in [from, to).
void MoveChunkOffsets(Bytes& bytes, std::size_t from, std::size_t to, std::size_t limit,
                      std::size_t delta) {
  static constexpr std::string_view kContainers[] = {"trak", "mdia", "minf", "stbl"};
  ForEachBox(bytes, from, to, [&](std::string_view type, std::size_t start, std::size_t end) {
    if (std::find(std::begin(kContainers), std::end(kContainers), type) != std::end(kContainers)) {
      MoveChunkOffsets(bytes, start + 8, end, limit, delta);
    }
    if (type != "stco" && type != "co64") return;
    const std::size_t width = type == "stco" ? 4 : 8;
    const std::size_t count = ReadU32(bytes, start + 12);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = start + 16 + i * width;
      const std::uint64_t offset = width == 4 ? ReadU32(bytes, at) : ReadU64(bytes, at);
      if (offset < limit) continue;
      const Bytes moved =
          width == 4 ? U32(static_cast<std::uint32_t>(offset + delta)) : U64(offset + delta);
      std::copy(moved.begin(), moved.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }
  });
}

}  // namespace

_GUID Id(std::uint8_t number) {
  const std::uint16_t pair = static_cast<std::uint16_t>(number * 0x0101u);
  return {number * 0x01010101u,
          pair,
          pair,
          {number, number, number, number, number, number, number, number}};
}

Bytes GuidBytes(const _GUID& id) {
  return Join({U32(static_cast<std::uint32_t>(id.Data1)), U16(id.Data2), U16(id.Data3),
               Bytes(std::begin(id.Data4), std::end(id.Data4))});
}

Bytes MarkerBox() { return Box("VRCV", {Text("VireoMP4"), Zeros(4)}); }

Bytes IdentifierBox(const _GUID& unique, const _GUID& next, const _GUID& pre) {
  return FullBox("VRFB", 0, 0, {GuidBytes(unique), GuidBytes(next), GuidBytes(pre)});
}

Bytes PlaceBox(const _GUID& unique, const _GUID& next, const _GUID& pre) {
  return Box("VROP", {IdentifierBox(unique, next, pre)});
}

Bytes ThumbnailStream(const Bytes& tiff) {
  const Bytes segment = Join({Text("Exif"), Zeros(2), tiff});
  const Bytes length = U16(static_cast<std::uint16_t>(segment.size() + 2));
  return Join({Hex("FFD8 FFE1"), length, segment});
}

Bytes ThumbnailBox(const Bytes& tiff) {
  return Box("VRTH", {Box("VRDA", {ThumbnailStream(tiff)})});
}

Bytes VendorBoxOf(std::initializer_list<Bytes> children) {
  return Box("uuid", {Hex(kVendorUsertype), Join(children)});
}

Bytes VendorBox::Build() const {
  return VendorBoxOf(
      {MarkerBox(), tiff.empty() ? Bytes() : ThumbnailBox(tiff), PlaceBox(unique, next, pre)});
}

Bytes WithVendorBox(const Bytes& file, const Bytes& box) {
  std::size_t movie = kNotFound;
  std::size_t movieEnd = 0;
  ForEachBox(file, 0, file.size(), [&](std::string_view type, std::size_t start, std::size_t end) {
    if (type != "moov" || movie != kNotFound) return;
    movie = start;
    movieEnd = end;
  });
  if (movie == kNotFound) throw std::invalid_argument("a file without a movie box");
  Bytes result = Join({Slice(file, 0, movieEnd), box, Slice(file, movieEnd, file.size())});
  result =
      WithU32(std::move(result), movie, static_cast<std::uint32_t>(movieEnd - movie + box.size()));
  MoveChunkOffsets(result, movie + 8, movieEnd, movieEnd, box.size());
  return result;
}

Bytes WithVendorBox(const Bytes& file, const VendorBox& box) {
  return WithVendorBox(file, box.Build());
}

}  // namespace support
