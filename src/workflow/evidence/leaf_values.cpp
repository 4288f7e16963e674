#include "workflow/evidence/leaf_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "foundation/fourcc.h"
#include "workflow/boxes/box_span.h"

namespace clipchain {

namespace {

using Span = std::span<const unsigned char>;

constexpr unsigned int kDeepest = 12;
// A camera notes a handful; a movie box that has more of them than this was made to have them.
constexpr std::size_t kMostValues = 1024;
constexpr std::size_t kLeastValue = 16;
constexpr std::size_t kMostValue = 32;
constexpr std::size_t kMostLeading = 4;
constexpr std::size_t kUserType = 16;
constexpr std::size_t kVersionAndFlags = 4;

using FoundBox = BoxSpan<const unsigned char>;

// Whether bytes are boxes, one behind the other, but for a closing number of 0 as "udta" may have
// it in QuickTime files.
bool AreBoxes(Span bytes) {
  if (bytes.empty()) return false;
  std::size_t count = 0;
  while (const auto box = TakeBox(bytes)) ++count;
  const bool closes =
      bytes.size() <= 4 &&
      std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0; });
  return count != 0 && (bytes.empty() || closes);
}

bool IsPrintable(Span value) {
  while (!value.empty() && value.back() == 0) value = value.first(value.size() - 1);
  return std::all_of(value.begin(), value.end(),
                     [](unsigned char byte) { return byte >= 0x20 && byte < 0x7F; });
}

// With or without up to 4 bytes in front; a box "data" has its kind and its country there, too.
bool IsText(Span body, unsigned int type) {
  constexpr std::size_t kDataHead = 8;
  if (type == FourCc("data") && IsPrintable(body.subspan(kDataHead))) return true;
  for (std::size_t leading = 0; leading <= kMostLeading; ++leading) {
    if (IsPrintable(body.subspan(leading))) return true;
  }
  return false;
}

bool IsAlike(Span value) {
  return std::all_of(value.begin(), value.end(),
                     [&](unsigned char byte) { return byte == value.front(); });
}

class Search {
 public:
  std::vector<PlacedValue> values;

  // Boxes whose inside holds nothing but tables are passed over.
  void Media(Span bytes, const std::string& path, unsigned int depth) {
    std::map<unsigned int, unsigned int> counts;
    while (const auto box = TakeBox(bytes)) {
      if (depth > kDeepest || values.size() >= kMostValues) return;
      const std::string place = Place(path, *box, counts);
      switch (box->type) {
        case FourCc("trak"):
        case FourCc("mdia"):
        case FourCc("minf"):
          Media(box->body, place, depth + 1);
          break;
        case FourCc("udta"):
        case FourCc("uuid"):
        case FourCc("meta"):
          Inside(*box, place, depth + 1);
          break;
        default:
          break;
      }
    }
  }

 private:
  static std::string Place(const std::string& path, const FoundBox& box,
                           std::map<unsigned int, unsigned int>& counts) {
    std::string place = path.empty() ? "" : path + '/';
    place += FourCcText(box.type);
    if (const unsigned int number = counts[box.type]++; number != 0)
      place += '[' + std::to_string(number) + ']';
    return place;
  }

  // What any box below "udta" holds: boxes, or a value.
  void Inside(const FoundBox& box, std::string place, unsigned int depth) {
    Span body = box.body;
    if (box.type == FourCc("uuid")) {
      if (body.size() < kUserType) return;
      // The type of the box, and so a part of its place.
      for (const unsigned char byte : body.first(kUserType)) place += fmt::format("{:02x}", byte);
      body = body.subspan(kUserType);
    }
    // ISO/IEC 14496-12 makes "meta" a full box, QuickTime does not.
    if (box.type == FourCc("meta") && !AreBoxes(body) && body.size() > kVersionAndFlags)
      body = body.subspan(kVersionAndFlags);
    if (AreBoxes(body) && depth <= kDeepest) {
      std::map<unsigned int, unsigned int> counts;
      while (const auto child = TakeBox(body)) {
        if (values.size() >= kMostValues) return;
        Inside(*child, Place(place, *child, counts), depth + 1);
      }
      return;
    }
    Leaf(body, box.type, std::move(place));
  }

  void Leaf(Span body, unsigned int type, std::string place) {
    if (body.size() < kLeastValue || body.size() > kMostValue + kMostLeading) return;
    const Span value = body.subspan(std::min(kMostLeading, body.size() - kLeastValue));
    if (IsText(body, type) || IsAlike(value)) return;
    values.push_back({std::move(place), {value.begin(), value.end()}});
  }
};

}  // namespace

std::vector<PlacedValue> LeafValues(Span movieBody) {
  Search search;
  search.Media(movieBody, "", 0);
  std::stable_sort(search.values.begin(), search.values.end(),
                   [](const PlacedValue& a, const PlacedValue& b) { return a.place < b.place; });
  return std::move(search.values);
}

}  // namespace clipchain
