#include "adapt/bit_rates.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "adapt/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Span = std::span<const unsigned char>;

constexpr std::size_t kHeader = 8;
constexpr unsigned int kMostDepth = 8;

// Where boxes begin inside the body of an entry, by the kinds of entries there are: behind the
// fields of pictures, of sound of versions 0, 1 and 2, and of all others.
constexpr std::size_t kFieldSizes[] = {78, 28, 44, 64, 8};
// Behind those of timed text (3GPP TS 26.245, 5.16), which some programs write as "text" too.
constexpr std::size_t kTextFieldSizes[] = {38, 8};

std::span<const std::size_t> FieldSizesOf(unsigned int type) {
  const bool isText = type == FourCc("tx3g") || type == FourCc("text");
  return isText ? std::span<const std::size_t>(kTextFieldSizes) : kFieldSizes;
}

// A box in the descriptions, by its place.
struct Place {
  unsigned int type;
  std::size_t begin;
  std::size_t body;
  std::size_t end;
};

// The boxes that fill the bytes from one place to another, zeros behind them aside; nothing if
// these are no boxes.
std::optional<std::vector<Place>> BoxesIn(const Bytes& bytes, std::size_t at, std::size_t end) {
  std::vector<Place> boxes;
  while (end - at >= kHeader) {
    Span in = Span(bytes).subspan(at, end - at);
    QUIRVA::be32 size;
    QUIRVA::be32 type;
    if (!TakeField(in, size) || !TakeField(in, type)) return std::nullopt;
    if (size < kHeader || size > end - at) break;
    boxes.push_back({type, at, at + kHeader, at + size});
    at += size;
  }
  const bool isRestZero =
      std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                  bytes.begin() + static_cast<std::ptrdiff_t>(end), [](int b) { return b == 0; });
  if (!isRestZero) return std::nullopt;
  return boxes;
}

// Moves behind the tag and the size of a descriptor, 7 bits in each byte of it.
bool EnterDescriptor(const Bytes& bytes, unsigned int tag, std::size_t& at, std::size_t end) {
  constexpr unsigned int kMostSizeBytes = 4;
  constexpr unsigned int kMoreFollows = 0x80;
  if (at >= end || bytes[at] != tag) return false;
  ++at;
  for (unsigned int i = 0; i < kMostSizeBytes && at < end; ++i) {
    if ((bytes[at++] & kMoreFollows) == 0) return true;
  }
  return false;
}

class FieldSearch {
 public:
  explicit FieldSearch(const Bytes& bytes) : bytes_(bytes) {}

  std::vector<RateField> Run() {
    // Version, flags and the number of entries.
    constexpr std::size_t kBeforeEntries = 8;
    if (bytes_.size() < kBeforeEntries) return {};
    const auto entries = BoxesIn(bytes_, kBeforeEntries, bytes_.size());
    if (!entries) return {};
    for (const Place& entry : *entries) SearchEntry(entry);
    return std::move(fields_);
  }

  // Behind a search: boxes of entries that hold nothing but such fields, and the entry of each.
  const std::vector<std::pair<Place, Place>>& BoxesOfRates() const { return boxes_; }

 private:
  void SearchEntry(const Place& entry) {
    for (const std::size_t fields : FieldSizesOf(entry.type)) {
      if (entry.end - entry.body < fields) continue;
      const auto boxes = BoxesIn(bytes_, entry.body + fields, entry.end);
      if (!boxes || boxes->empty()) continue;
      for (const Place& box : *boxes) {
        if (box.type == FourCc("btrt")) boxes_.emplace_back(box, entry);
        SearchBox(box, 0);
      }
      return;
    }
  }

  void SearchBox(const Place& box, unsigned int depth) {
    if (box.type == FourCc("btrt")) {
      TakeRates(box.type, box.body, 4, box.end);
    } else if (box.type == FourCc("esds")) {
      SearchDescriptor(box);
    } else if (box.type == FourCc("wave") && depth < kMostDepth) {
      const auto boxes = BoxesIn(bytes_, box.body, box.end);
      if (!boxes) return;
      for (const Place& child : *boxes) SearchBox(child, depth + 1);
    }
  }

  void SearchDescriptor(const Place& box) {
    constexpr unsigned int kEsTag = 3;
    constexpr unsigned int kConfigTag = 4;
    constexpr unsigned int kDependsOnStream = 0x80;
    constexpr unsigned int kHasUrl = 0x40;
    constexpr unsigned int kHasClock = 0x20;
    // Version and flags.
    std::size_t at = box.body + 4;
    if (!EnterDescriptor(bytes_, kEsTag, at, box.end) || box.end - at < 3) return;
    const unsigned int flags = bytes_[at + 2];
    at += 3;
    if ((flags & kDependsOnStream) != 0) at += 2;
    if ((flags & kHasUrl) != 0 && at < box.end) at += 1 + std::size_t{bytes_[at]};
    if ((flags & kHasClock) != 0) at += 2;
    // Kind of object and of stream.
    constexpr std::size_t kKind = 2;
    if (EnterDescriptor(bytes_, kConfigTag, at, box.end))
      TakeRates(box.type, at + kKind, 3, box.end);
  }

  // A buffer size, the largest bit rate and the average one.
  void TakeRates(unsigned int box, std::size_t at, std::size_t bufferWidth, std::size_t end) {
    constexpr std::size_t kRate = 4;
    if (at > end || end - at < bufferWidth + 2 * kRate) return;
    fields_.push_back({RateField::Kind::kBuffer, at, bufferWidth, box});
    fields_.push_back({RateField::Kind::kMost, at + bufferWidth, kRate, box});
    fields_.push_back({RateField::Kind::kAverage, at + bufferWidth + kRate, kRate, box});
  }

  const Bytes& bytes_;
  std::vector<RateField> fields_;
  std::vector<std::pair<Place, Place>> boxes_;
};

}  // namespace

std::vector<RateField> RateFieldsOf(const Bytes& stsd) { return FieldSearch(stsd).Run(); }

unsigned int RateAt(const Bytes& stsd, const RateField& field) {
  unsigned int value = 0;
  for (std::size_t i = 0; i < field.width; ++i) value = value << 8 | stsd[field.at + i];
  return value;
}

void SetRate(Bytes& stsd, const RateField& field, unsigned int value) {
  for (std::size_t i = field.width; i-- > 0; value >>= 8)
    stsd[field.at + i] = static_cast<unsigned char>(value);
}

Bytes WithoutBitRates(const Bytes& stsd) {
  Bytes bytes = stsd;
  for (const RateField& field : RateFieldsOf(stsd)) SetRate(bytes, field, 0);
  return bytes;
}

Bytes WithoutRateBoxes(const Bytes& stsd) {
  Bytes bytes = WithoutBitRates(stsd);
  FieldSearch search(stsd);
  static_cast<void>(search.Run());
  const auto& boxes = search.BoxesOfRates();
  for (auto found = boxes.rbegin(); found != boxes.rend(); ++found) {
    const auto& [box, entry] = *found;
    const RateField size{RateField::Kind::kBuffer, entry.begin, sizeof(QUIRVA::be32)};
    SetRate(bytes, size, RateAt(bytes, size) - static_cast<unsigned int>(box.end - box.begin));
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(box.begin);
    bytes.erase(from, bytes.begin() + static_cast<std::ptrdiff_t>(box.end));
  }
  return bytes;
}

}  // namespace clipchain
