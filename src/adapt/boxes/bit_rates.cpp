#include "adapt/boxes/bit_rates.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Span = std::span<const unsigned char>;

constexpr std::size_t kHeader = 8;
constexpr unsigned int kMostDepth = 8;

// Where boxes begin inside the body of an entry, by the kinds of entries there are: behind the
// fields of timed text (3GPP TS 26.245, 5.16), which some programs write as "text" too; of sound of
// versions 1 and 2, which say so; of others, of sound and of pictures. The fewest come first: where
// pictures have fields sound may have a second box.
std::vector<std::size_t> FieldSizesOf(const Bytes& bytes, unsigned int type, std::size_t body) {
  if (type == FourCc("tx3g") || type == FourCc("text")) return {38, 8};
  std::vector<std::size_t> sizes = {8, 28, 44, 64, 78};
  constexpr std::size_t kVersion = 9;
  const unsigned int version = body + kVersion < bytes.size() ? bytes[body + kVersion] : 0;
  if (version == 1) sizes.insert(sizes.begin(), 44);
  if (version == 2) sizes.insert(sizes.begin(), 64);
  return sizes;
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

std::uint64_t MaskOf(const RateField& field) {
  return field.bits < 64 ? (std::uint64_t{1} << field.bits) - 1 : ~std::uint64_t{0};
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
    for (const std::size_t fields : FieldSizesOf(bytes_, entry.type, entry.body)) {
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
      TakeRates(box, box.body, 4);
    } else if (box.type == FourCc("esds")) {
      SearchDescriptor(box);
    } else if (box.type == FourCc("dfLa")) {
      TakeStreamInfo(box);
    } else if (box.type == FourCc("alac")) {
      TakeCookie(box);
    } else if (box.type == FourCc("dec3")) {
      constexpr unsigned int kRateBits = 13;
      Take({RateField::Kind::kMost, box.body, 2, box.type, box.begin, kRateBits, 16 - kRateBits},
           box);
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
    if (EnterDescriptor(bytes_, kConfigTag, at, box.end)) TakeRates(box, at + kKind, 3);
  }

  // A buffer size, the largest bit rate and the average one.
  void TakeRates(const Place& box, std::size_t at, std::size_t bufferWidth) {
    constexpr std::size_t kRate = 4;
    if (at > box.end || box.end - at < bufferWidth + 2 * kRate) return;
    Take({RateField::Kind::kBuffer, at, bufferWidth, box.type, box.begin}, box);
    Take({RateField::Kind::kMost, at + bufferWidth, kRate, box.type, box.begin}, box);
    Take({RateField::Kind::kAverage, at + bufferWidth + kRate, kRate, box.type, box.begin}, box);
  }

  // STREAMINFO comes first: block sizes, sizes of the smallest and the largest frame, what the
  // sound is, the number of its samples, its MD5.
  void TakeStreamInfo(const Place& box) {
    constexpr std::size_t kBlock = 4;
    constexpr std::size_t kInfo = kBlock + 4;
    constexpr std::size_t kInfoSize = 34;
    constexpr unsigned int kLast = 0x80;
    if (box.end - box.body < kInfo + kInfoSize) return;
    // The kind and the size of the block, of 24 bits.
    const unsigned char* head = &bytes_[box.body + kBlock];
    if ((head[0] & ~kLast) != 0 || head[1] != 0 || head[2] != 0 || head[3] != kInfoSize) return;
    using Kind = RateField::Kind;
    const std::size_t at = box.body + kInfo;
    constexpr unsigned int kCountBits = 36;
    Take({Kind::kLeastKnown, at + 4, 3, box.type, box.begin}, box);
    Take({Kind::kMostKnown, at + 7, 3, box.type, box.begin}, box);
    Take({Kind::kOfOneClip, at + 10, 8, box.type, box.begin, kCountBits}, box);
    Take({Kind::kOfOneClip, at + 18, 8, box.type, box.begin}, box);
    Take({Kind::kOfOneClip, at + 26, 8, box.type, box.begin}, box);
  }

  // Behind version and flags and what the frames are: the largest frame, the average bit rate.
  void TakeCookie(const Place& box) {
    constexpr std::size_t kMostBytes = 16;
    constexpr std::size_t kCookieSize = 28;
    if (box.end - box.body < kCookieSize) return;
    const std::size_t at = box.body + kMostBytes;
    Take({RateField::Kind::kMostKnown, at, 4, box.type, box.begin}, box);
    Take({RateField::Kind::kAverage, at + 4, 4, box.type, box.begin}, box);
  }

  void Take(const RateField& field, const Place& box) {
    if (field.at <= box.end && box.end - field.at >= field.width) fields_.push_back(field);
  }

  const Bytes& bytes_;
  std::vector<RateField> fields_;
  std::vector<std::pair<Place, Place>> boxes_;
};

}  // namespace

std::vector<RateField> RateFieldsOf(const Bytes& stsd) { return FieldSearch(stsd).Run(); }

std::uint64_t RateAt(const Bytes& stsd, const RateField& field) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < field.width; ++i) value = value << 8 | stsd[field.at + i];
  return value >> field.shift & MaskOf(field);
}

void SetRate(Bytes& stsd, const RateField& field, std::uint64_t value) {
  const std::uint64_t mask = MaskOf(field) << field.shift;
  value <<= field.shift;
  for (std::size_t i = 0; i < field.width; ++i) {
    const std::size_t shift = 8 * (field.width - 1 - i);
    const std::uint64_t kept = stsd[field.at + i] & ~(mask >> shift);
    stsd[field.at + i] = static_cast<unsigned char>((kept | ((value & mask) >> shift)) & 0xFF);
  }
}

std::uint64_t RateOfBoth(RateField::Kind kind, std::uint64_t a, std::uint64_t b) {
  switch (kind) {
    case RateField::Kind::kLeastKnown:
      return std::min(a, b);
    case RateField::Kind::kMostKnown:
      return a == 0 || b == 0 ? 0 : std::max(a, b);
    case RateField::Kind::kOfOneClip:
      return 0;
    default:
      // Of averages too, of which it only says whether any is known.
      return std::max(a, b);
  }
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
    SetRate(bytes, size, RateAt(bytes, size) - (box.end - box.begin));
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(box.begin);
    bytes.erase(from, bytes.begin() + static_cast<std::ptrdiff_t>(box.end));
  }
  return bytes;
}

}  // namespace clipchain
