#include "workflow/boxes/box_difference.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <vector>

#include "workflow/boxes/box_fields.h"

namespace clipchain {

namespace {

using Bytes = std::vector<unsigned char>;
using Span = std::span<const unsigned char>;

// A box and what the engine writes for it.
struct WrittenBox {
  const MP4G::CBox& box;
  Span bytes;

  // The bytes ahead of the children.
  Span Own() const {
    long long own = static_cast<long long>(bytes.size()) - box.restSize;
    for (const MP4G::CBox* child : box.children) {
      if (child != nullptr) own -= child->GetBoxSize();
    }
    const long long whole = static_cast<long long>(bytes.size());
    return bytes.first(static_cast<std::size_t>(std::clamp(own, 0LL, whole)));
  }
};

// What does not fit the size field of the box is left out.
Bytes Write(const MP4G::CBox& box) {
  const long long size = box.GetBoxSize();
  if (size <= 0 || size > 0xFFFFFFFF) return {};
  Bytes bytes(static_cast<std::size_t>(size));
  unsigned char* out = bytes.data();
  unsigned int rest = static_cast<unsigned int>(size);
  return box.GetData(out, rest) >= 0 ? bytes : Bytes();
}

std::string TypeWords(const MP4G::CBox* box) {
  return box != nullptr ? fmt::format("\"{}\"", FourCcText(box->header->type)) : "nothing";
}

// The size field alone says nothing that the fields behind it don't.
std::optional<BoxDifference> OwnDifference(const WrittenBox& first, const WrittenBox& second) {
  constexpr std::size_t kSizeField = 4;
  const Span a = first.Own();
  const Span b = second.Own();
  const std::size_t both = std::min(a.size(), b.size());
  std::size_t at = std::min(kSizeField, both);
  while (at < both && a[at] == b[at]) ++at;
  if (at == both && a.size() == b.size()) return std::nullopt;
  const BoxField field = FieldAt(second.box, a, b, at);
  return BoxDifference{&second.box, field.name, field.first, field.second};
}

std::optional<BoxDifference> Compare(const WrittenBox& first, const WrittenBox& second) {
  if (first.box.header->type != second.box.header->type)
    return BoxDifference{&second.box, "type", TypeWords(&first.box), TypeWords(&second.box)};
  if (auto own = OwnDifference(first, second)) return own;
  std::size_t behind = first.Own().size();
  std::size_t behindToo = second.Own().size();
  auto a = first.box.children.begin();
  auto b = second.box.children.begin();
  const auto part = [](Span bytes, std::size_t at, const MP4G::CBox& child) {
    const std::size_t begin = std::min(at, bytes.size());
    const auto size = static_cast<std::size_t>(std::max(child.GetBoxSize(), 0LL));
    return bytes.subspan(begin, std::min(size, bytes.size() - begin));
  };
  for (; a != first.box.children.end() && b != second.box.children.end(); ++a, ++b) {
    if (*a == nullptr || *b == nullptr) continue;
    const WrittenBox inFirst{**a, part(first.bytes, behind, **a)};
    const WrittenBox inSecond{**b, part(second.bytes, behindToo, **b)};
    if (auto inside = Compare(inFirst, inSecond)) return inside;
    behind += inFirst.bytes.size();
    behindToo += inSecond.bytes.size();
  }
  if (a != first.box.children.end())
    return BoxDifference{&second.box, "the next box in it", TypeWords(*a), "nothing"};
  if (b != second.box.children.end()) return BoxDifference{*b, "the box", "nothing", TypeWords(*b)};
  if (first.box.restSize != second.box.restSize)
    return BoxDifference{&second.box, "the number of bytes at its end",
                         fmt::format("{}", first.box.restSize),
                         fmt::format("{}", second.box.restSize)};
  return std::nullopt;
}

}  // namespace

std::optional<BoxDifference> FirstDifference(const MP4G::CBox& first, const MP4G::CBox& second) {
  const Bytes a = Write(first);
  const Bytes b = Write(second);
  return Compare({first, a}, {second, b});
}

}  // namespace clipchain
