#include "adapt/boxes/raw_boxes.h"

#include <algorithm>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/fields.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

// Deeper than any movie box goes; what lies below stays bytes.
constexpr unsigned int kMostDepth = 16;
constexpr std::uint64_t kMost32Bits = 0xFFFFFFFF;

}  // namespace

bool IsRawContainer(unsigned int type) {
  static constexpr unsigned int kContainers[] = {
      FourCc("moov"), FourCc("trak"), FourCc("mdia"), FourCc("minf"), FourCc("stbl"),
      FourCc("edts"), FourCc("udta"), FourCc("mvex"), FourCc("moof"), FourCc("traf"),
      FourCc("tref"), FourCc("dinf"), FourCc("gmhd")};
  return std::find(std::begin(kContainers), std::end(kContainers), type) != std::end(kContainers);
}

bool RawBox::Take(std::span<const unsigned char>& bytes) { return TakeAt(bytes, 0); }

bool RawBox::TakeAt(std::span<const unsigned char>& bytes, unsigned int depth) {
  const auto header = TakeBoxHeader(bytes);
  if (!header || header->size < header->headerSize || header->size > bytes.size()) return false;
  *this = RawBox();
  type = header->type;
  large = header->headerSize == BoxHeader::kLarge;
  const auto body = bytes.subspan(header->headerSize, header->size - header->headerSize);
  if (IsRawContainer(type) && depth < kMostDepth) {
    TakeChildren(body, depth);
  } else {
    data.assign(body.begin(), body.end());
  }
  bytes = bytes.subspan(header->size);
  return true;
}

// Whatever is left behind the last box that fits is kept as bytes, be it the 32 bits of zero at the
// end of a "udta" or damage.
void RawBox::TakeChildren(std::span<const unsigned char> body, unsigned int depth) {
  RawBox child;
  while (child.TakeAt(body, depth + 1)) children.push_back(std::move(child));
  data.assign(body.begin(), body.end());
}

std::uint64_t RawBox::Size() const {
  std::uint64_t body = data.size();
  for (const RawBox& child : children) body += child.Size();
  const bool isLarge = large || body > kMost32Bits - BoxHeader::kShort;
  return body + (isLarge ? BoxHeader::kLarge : BoxHeader::kShort);
}

void RawBox::Write(Bytes& out) const {
  const std::uint64_t size = Size();
  const bool isLarge = large || size > kMost32Bits;
  PutField<be32>(out, isLarge ? 1 : static_cast<std::uint32_t>(size));
  PutField<be32>(out, type);
  if (isLarge) PutField<be64>(out, size);
  for (const RawBox& child : children) child.Write(out);
  out.insert(out.end(), data.begin(), data.end());
}

Bytes RawBox::Written() const {
  Bytes bytes;
  bytes.reserve(static_cast<std::size_t>(Size()));
  Write(bytes);
  return bytes;
}

RawBox* RawBox::Child(unsigned int childType) {
  const auto found = std::find_if(children.begin(), children.end(),
                                  [=](const RawBox& child) { return child.type == childType; });
  return found != children.end() ? &*found : nullptr;
}

const RawBox* RawBox::Child(unsigned int childType) const {
  return const_cast<RawBox*>(this)->Child(childType);
}

RawBox* RawBox::At(std::initializer_list<unsigned int> path) {
  RawBox* box = this;
  for (const unsigned int step : path) {
    box = box->Child(step);
    if (box == nullptr) return nullptr;
  }
  return box;
}

const RawBox* RawBox::At(std::initializer_list<unsigned int> path) const {
  return const_cast<RawBox*>(this)->At(path);
}

void RawBox::Remove(unsigned int childType) {
  std::erase_if(children, [=](const RawBox& child) { return child.type == childType; });
}

}  // namespace clipchain
