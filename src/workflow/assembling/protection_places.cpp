#include "workflow/assembling/protection_places.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>

#include "adapt/boxes/box_header.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Body = std::span<unsigned char>;

// The bodies of all boxes of that type; what stands behind the last box that fits is none.
template <class Use>
void ForEachBox(Body boxes, unsigned int type, Use use) {
  while (const auto header = TakeBoxHeader(boxes)) {
    if (header->size < header->headerSize || header->size > boxes.size()) return;
    if (header->type == type)
      use(boxes.subspan(header->headerSize, header->size - header->headerSize));
    boxes = boxes.subspan(static_cast<std::size_t>(header->size));
  }
}

Body FindBox(Body boxes, std::initializer_list<unsigned int> path) {
  for (const unsigned int type : path) {
    Body found;
    ForEachBox(boxes, type, [&](Body body) {
      if (found.empty()) found = body;
    });
    boxes = found;
  }
  return boxes;
}

}  // namespace

void PlaceProtection(Bytes& movie, unsigned long long position) {
  // Version, flags and the number of samples.
  constexpr std::size_t kFields = 8;
  // The same, with one offset of 64 bits behind it (ISO/IEC 14496-12, clause 8.7.9).
  constexpr std::size_t kPlace = 16;
  ForEachBox(FindBox(movie, {FourCc("moov")}), FourCc("trak"), [&](Body track) {
    const Body bytes = FindBox(track, {FourCc("senc")});
    const Body place =
        FindBox(track, {FourCc("mdia"), FourCc("minf"), FourCc("stbl"), FourCc("saio")});
    if (bytes.size() < kFields || place.size() != kPlace || place[0] != 1) return;
    QUIRVA::be64 offset;
    offset = position + static_cast<std::uint64_t>(bytes.data() + kFields - movie.data());
    std::memcpy(&place[kFields], &offset, sizeof offset);
  });
}

}  // namespace clipchain
