#include "workflow/rescue/jpeg_count.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace clipchain::rescue {

namespace {

using Bytes = std::span<const unsigned char>;

constexpr unsigned char kMark = 0xFF;

// Bits of a scan, without the zeros behind bytes of 0xFF.
class ScanBits {
 public:
  explicit ScanBits(Bytes bytes) : bytes_(bytes) {}

  // The next bits, with ones where a marker or the end stands; at most 16.
  unsigned int Peek(unsigned int count) {
    while (held_ < count) Fill();
    return static_cast<unsigned int>(bits_ >> (held_ - count)) & ((1U << count) - 1);
  }
  void Drop(unsigned int count) { held_ -= count; }
  // Whether more bits were taken than there are.
  bool Overdrawn() const { return held_ < invented_; }

  // Passes over what is left of the last byte, which has to be ones, and over the marker behind it.
  // False: something else stands there.
  bool TakeMarker(unsigned char& code) {
    if (Overdrawn()) return false;
    const unsigned int left = held_ - invented_;
    // A whole byte that is left belongs to more blocks than the picture has.
    if (left >= 8) return false;
    const unsigned int ones = (1U << left) - 1;
    if ((static_cast<unsigned int>(bits_ >> invented_) & ones) != ones) return false;
    while (at_ + 1 < bytes_.size() && bytes_[at_] == kMark && bytes_[at_ + 1] == kMark) ++at_;
    if (at_ + 1 >= bytes_.size() || bytes_[at_] != kMark || bytes_[at_ + 1] == 0) return false;
    code = bytes_[at_ + 1];
    at_ += 2;
    held_ = invented_ = 0;
    return true;
  }
  std::size_t At() const { return at_; }

 private:
  void Fill() {
    unsigned char byte = kMark;
    if (at_ < bytes_.size() && bytes_[at_] != kMark) {
      byte = bytes_[at_++];
    } else if (at_ + 1 < bytes_.size() && bytes_[at_ + 1] == 0) {
      at_ += 2;
    } else {
      invented_ += 8;
    }
    bits_ = bits_ << 8 | byte;
    held_ += 8;
  }

  Bytes bytes_;
  std::size_t at_ = 0;
  std::uint64_t bits_ = 0;
  unsigned int held_ = 0;
  unsigned int invented_ = 0;
};

// A Huffman table: for each 16 bits the length of the code that they begin with and its value.
struct CodeTable {
  // Length << 8 | value; 0: no code.
  std::vector<std::uint16_t> entries;

  // Takes the table from the front of a segment.
  bool Take(Bytes& in) {
    constexpr std::size_t kLengths = 16;
    if (in.size() < kLengths) return false;
    const Bytes counts = in.first(kLengths);
    in = in.subspan(kLengths);
    entries.assign(1U << 16, 0);
    std::size_t next = 0;
    for (unsigned int length = 1; length <= kLengths; ++length) {
      for (unsigned int i = 0; i < counts[length - 1]; ++i) {
        const std::size_t span = std::size_t{1} << (16 - length);
        if (in.empty() || next + span > entries.size()) return false;
        std::fill_n(entries.begin() + static_cast<std::ptrdiff_t>(next), span,
                    static_cast<std::uint16_t>(length << 8 | in[0]));
        in = in.subspan(1);
        next += span;
      }
    }
    return true;
  }
};

struct Component {
  unsigned char id = 0;
  // Of one unit of the scan.
  unsigned int blocks = 0;
  std::size_t dc = 0;
  std::size_t ac = 0;
};

class Counter {
 public:
  explicit Counter(Bytes picture) : picture_(picture) {}

  bool Run() {
    std::size_t at = 2;
    while (at + 4 <= picture_.size() && picture_[at] == kMark) {
      const unsigned char code = picture_[at + 1];
      if (code == kMark) {
        ++at;
        continue;
      }
      const std::size_t size = std::size_t{picture_[at + 2]} << 8 | picture_[at + 3];
      if (size < 2 || size > picture_.size() - at - 2) return false;
      if (!TakeSegment(code, picture_.subspan(at + 4, size - 2))) return false;
      at += 2 + size;
      constexpr unsigned char kScan = 0xDA;
      if (code == kScan) return CountScan(picture_.subspan(at));
    }
    return false;
  }

 private:
  bool TakeSegment(unsigned char code, Bytes in) {
    switch (code) {
      // Sequential processes with Huffman codes (ISO/IEC 10918-1, table B.1), which cameras write.
      case 0xC0:
      case 0xC1:
        return TakeFrame(in);
      case 0xC4:
        return TakeTables(in);
      case 0xDA:
        return TakeScan(in);
      case 0xDD:
        if (in.size() < 2) return false;
        interval_ = static_cast<unsigned int>(in[0]) << 8 | in[1];
        return true;
      default:
        // A frame of another process.
        return code < 0xC0 || code > 0xCF || code == 0xCC;
    }
  }

  bool TakeFrame(Bytes in) {
    constexpr std::size_t kHead = 6;
    constexpr std::size_t kEach = 3;
    if (in.size() < kHead || in.size() < kHead + kEach * in[5] || in[5] == 0) return false;
    const unsigned int height = static_cast<unsigned int>(in[1]) << 8 | in[2];
    const unsigned int width = static_cast<unsigned int>(in[3]) << 8 | in[4];
    unsigned int across = 1;
    unsigned int down = 1;
    components_.clear();
    for (std::size_t i = 0; i < in[5]; ++i) {
      const Bytes field = in.subspan(kHead + kEach * i, kEach);
      const unsigned int h = field[1] >> 4;
      const unsigned int v = field[1] & 15U;
      // Sampling factors are 1 to 4 (B.2.2).
      if (h == 0 || v == 0 || h > 4 || v > 4) return false;
      across = std::max(across, h);
      down = std::max(down, v);
      components_.push_back({field[0], h * v, 0, 0});
    }
    // The blocks of a picture of one component do not come in groups.
    if (components_.size() == 1) across = down = components_[0].blocks = 1;
    constexpr unsigned int kBlock = 8;
    units_ = std::uint64_t{(width + across * kBlock - 1) / (across * kBlock)} *
             ((height + down * kBlock - 1) / (down * kBlock));
    return units_ != 0;
  }

  bool TakeTables(Bytes in) {
    while (!in.empty()) {
      const unsigned char head = in[0];
      in = in.subspan(1);
      if (head >> 4 > 1 || (head & 15U) > 3) return false;
      auto& tables = head >> 4 == 0 ? dc_ : ac_;
      if (!tables[head & 15U].Take(in)) return false;
    }
    return true;
  }

  bool TakeScan(Bytes in) {
    // A scan of some of the components would have others behind it, which is not counted here.
    if (in.empty() || in[0] != components_.size() || in.size() < 1 + 2 * components_.size())
      return false;
    for (std::size_t i = 0; i < components_.size(); ++i) {
      const unsigned char tables = in[2 + 2 * i];
      if (in[1 + 2 * i] != components_[i].id || tables >> 4 > 3 || (tables & 15U) > 3) return false;
      components_[i].dc = tables >> 4;
      components_[i].ac = tables & 15U;
      if (dc_[components_[i].dc].entries.empty() || ac_[components_[i].ac].entries.empty())
        return false;
    }
    return true;
  }

  bool CountScan(Bytes scan) {
    ScanBits bits(scan);
    unsigned char code = 0;
    unsigned int restarts = 0;
    for (std::uint64_t unit = 0; unit < units_; ++unit) {
      if (interval_ != 0 && unit != 0 && unit % interval_ == 0 &&
          // Restart markers count from 0 to 7 and begin again (B.2.1).
          (!bits.TakeMarker(code) || code != 0xD0 + restarts++ % 8))
        return false;
      for (const Component& component : components_) {
        for (unsigned int i = 0; i < component.blocks; ++i) {
          if (!SkipBlock(bits, component)) return false;
        }
      }
    }
    constexpr unsigned char kEnd = 0xD9;
    return bits.TakeMarker(code) && code == kEnd && bits.At() == scan.size();
  }

  static bool TakeCode(ScanBits& bits, const CodeTable& table, unsigned int& value) {
    const std::uint16_t entry = table.entries[bits.Peek(16)];
    if (entry == 0) return false;
    bits.Drop(entry >> 8);
    value = entry & 0xFFU;
    return true;
  }

  static bool SkipBits(ScanBits& bits, unsigned int count) {
    if (count > 16) return false;
    static_cast<void>(bits.Peek(count));
    bits.Drop(count);
    return true;
  }

  bool SkipBlock(ScanBits& bits, const Component& component) const {
    unsigned int value = 0;
    if (!TakeCode(bits, dc_[component.dc], value) || !SkipBits(bits, value)) return false;
    constexpr unsigned int kCoefficients = 64;
    for (unsigned int k = 1; k < kCoefficients; ++k) {
      if (!TakeCode(bits, ac_[component.ac], value)) return false;
      const unsigned int size = value & 15U;
      const unsigned int zeros = value >> 4;
      constexpr unsigned int kMostZeros = 15;
      // The end of the block; with 15 it is a run of 16 zeros (F.1.2.2.1).
      if (size == 0 && zeros != kMostZeros) break;
      k += zeros;
      if (k >= kCoefficients || !SkipBits(bits, size)) return false;
    }
    return !bits.Overdrawn();
  }

  Bytes picture_;
  std::array<CodeTable, 4> dc_;
  std::array<CodeTable, 4> ac_;
  std::vector<Component> components_;
  std::uint64_t units_ = 0;
  unsigned int interval_ = 0;
};

}  // namespace

bool HoldsAllBlocks(std::span<const unsigned char> picture) { return Counter(picture).Run(); }

}  // namespace clipchain::rescue
