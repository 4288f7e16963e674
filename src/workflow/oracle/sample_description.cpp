#include "workflow/oracle/sample_description.h"

#include <algorithm>

#include "foundation/fourcc.h"

namespace clipchain::samples {

namespace {

// Whether nothing but boxes stands there; four bytes of zero may end them, as QuickTime has it.
bool AreBoxes(View bytes) {
  BoxView box;
  while (TakeBox(bytes, box)) {
  }
  return bytes.empty() || (bytes.size() == 4 && U32(bytes, 0) == 0);
}

// Where the boxes of an entry begin: behind the fields of its kind (ISO/IEC 14496-12, clause 12),
// which QuickTime makes longer for sound of version 1 and 2. Empty if they are found nowhere.
View BoxesOf(View entry, std::uint32_t handler) {
  std::vector<std::size_t> places = {16};
  const std::uint32_t type = U32(entry, 4);
  if (type == FourCc("tx3g") || type == FourCc("text")) places = {46, 16};
  if (handler == FourCc("vide")) places = {86};
  if (handler == FourCc("soun")) {
    const std::uint32_t version = U16(entry, 16);
    places = {36};
    if (version == 1) places = {52, 36};
    if (version == 2) places = {72, 36};
  }
  for (const std::size_t at : places) {
    if (at <= entry.size() && AreBoxes(entry.subspan(at))) return entry.subspan(at);
  }
  return {};
}

// The payload of the descriptor at the front, if it is of that kind; empty else.
View Payload(View bytes, unsigned char tag) {
  if (bytes.empty() || bytes[0] != tag) return {};
  std::size_t size = 0;
  for (std::size_t at = 1; at < bytes.size() && at <= 4; ++at) {
    size = size << 7 | (bytes[at] & 0x7FU);
    if ((bytes[at] & 0x80U) != 0) continue;
    const View rest = bytes.subspan(at + 1);
    return rest.first(std::min(size, rest.size()));
  }
  return {};
}

// The eleven bytes of buffer size and bit rates inside an "esds"; empty without them.
View RatesIn(View body) {
  constexpr unsigned char kStream = 3;
  constexpr unsigned char kDecoder = 4;
  if (body.size() < 4) return {};
  const View stream = Payload(body.subspan(4), kStream);
  if (stream.size() < 3) return {};
  const unsigned int flags = stream[2];
  std::size_t at = 3 + ((flags & 0x80U) != 0 ? 2 : 0);
  if ((flags & 0x40U) != 0 && at < stream.size()) at += 1U + stream[at];
  at += (flags & 0x20U) != 0 ? 2 : 0;
  if (at > stream.size()) return {};
  const View decoder = Payload(stream.subspan(at), kDecoder);
  return decoder.size() >= 13 ? decoder.subspan(2, 11) : View();
}

class RateFinder {
 public:
  RateFinder(View entry, Description& description) : entry_(entry), description_(description) {}

  void Look(View boxes, bool inside = false) {
    BoxView box;
    while (TakeBox(boxes, box)) {
      if (box.type == FourCc("wave") && !inside) Look(box.body, true);
      if (box.type == FourCc("btrt")) {
        if (box.body.size() >= 12)
          Take({true, U32(box.body, 0), U32(box.body, 4), U32(box.body, 8)});
        Blank(inside ? box.body : box.whole, !inside);
      }
      LookAtFrames(box);
      if (box.type != FourCc("esds")) continue;
      const View rates = RatesIn(box.body);
      if (rates.empty()) continue;
      Take({false, U32(rates, 0) >> 8, U32(rates, 3), U32(rates, 7)});
      Blank(rates, false);
    }
  }

  // Leaves out what was found, the last of it first, and the size of what is left.
  void Bare() {
    std::string& bare = description_.bare;
    for (auto part = blank_.rbegin(); part != blank_.rend(); ++part) {
      const auto kept = static_cast<char>(entry_[part->begin] & part->keeps);
      bare.replace(part->begin, part->size, part->isGone ? 0 : part->size, '\0');
      if (!part->isGone) bare[part->begin] = kept;
    }
    constexpr std::size_t kSize = 4;
    bare.erase(0, kSize);
  }

 private:
  struct Part {
    std::size_t begin;
    std::size_t size;
    bool isGone;
    // Bits of its first byte that stay.
    unsigned int keeps;
  };

  void LookAtFrames(const BoxView& box) {
    const View body = box.body;
    FrameStatistics found{box.type, 0, 0, {}};
    // Fields of STREAMINFO behind version and flags of the box and the head of the block.
    constexpr std::size_t kInfo = 8;
    constexpr std::uint32_t kInfoHead = 34;
    constexpr std::uint32_t kIsLast = 0x80000000U;
    if (box.type == FourCc("dfLa") && body.size() >= kInfo + kInfoHead &&
        (U32(body, 4) & ~kIsLast) == kInfoHead) {
      found.least = U32(body, kInfo + 3) & 0xFFFFFF;
      found.most = U32(body, kInfo + 6) & 0xFFFFFF;
      // The depth of a sample ends in the first four bits.
      constexpr unsigned int kCount = 0x0F;
      found.ofAll = std::string(body.begin() + kInfo + 13, body.begin() + kInfo + kInfoHead);
      found.ofAll[0] = static_cast<char>(body[kInfo + 13] & kCount);
      Blank(body.subspan(kInfo + 4, 6), false);
      Blank(body.subspan(kInfo + 13, kInfoHead - 13), false, ~kCount);
    } else if (box.type == FourCc("alac") && body.size() >= 28) {
      found.most = U32(body, 16);
      Blank(body.subspan(16, 8), false);
    } else if (box.type == FourCc("dec3") && body.size() >= 2) {
      constexpr unsigned int kStreams = 7;
      found.most = U16(body, 0) >> 3;
      Blank(body.first(1), false);
      Blank(body.subspan(1, 1), false, kStreams);
    } else {
      return;
    }
    description_.frames.push_back(found);
  }

  void Take(const BitRates& rates) { description_.rates.push_back(rates); }

  void Blank(View bytes, bool isGone, unsigned int keeps = 0) {
    const auto begin = static_cast<std::size_t>(bytes.data() - entry_.data());
    if (!bytes.empty()) blank_.push_back({begin, bytes.size(), isGone, keeps & 0xFF});
  }

  View entry_;
  Description& description_;
  std::vector<Part> blank_;
};

}  // namespace

Description DescriptionOf(View entry, std::uint32_t handler) {
  Description description{std::string(entry.begin(), entry.end()), {}, {}};
  RateFinder finder(entry, description);
  finder.Look(BoxesOf(entry, handler));
  finder.Bare();
  return description;
}

BitRates Description::Like(const Description& other, std::size_t index) const {
  const bool alone = other.rates[index].alone;
  const auto isSuch = [alone](const BitRates& found) { return found.alone == alone; };
  auto before = std::count_if(other.rates.begin(),
                              other.rates.begin() + static_cast<std::ptrdiff_t>(index), isSuch);
  for (const BitRates& found : rates) {
    if (isSuch(found) && before-- == 0) return found;
  }
  return {alone, 0, 0, 0};
}

}  // namespace clipchain::samples
