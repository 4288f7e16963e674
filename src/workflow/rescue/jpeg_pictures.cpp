#include "workflow/rescue/jpeg_pictures.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "workflow/rescue/jpeg_count.h"

namespace clipchain::rescue {

namespace {

constexpr unsigned char kMark = 0xFF;
constexpr unsigned char kBegin = 0xD8;
constexpr unsigned char kEnd = 0xD9;
constexpr unsigned char kScan = 0xDA;
constexpr std::size_t kBlock = 64 << 10;

bool IsRestart(unsigned char code) { return code >= 0xD0 && code <= 0xD7; }

// Frame headers, of whatever process, but for the codes among them that stand for tables.
bool IsFrame(unsigned char code) {
  return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC;
}

class Scanner {
 public:
  Scanner(MediaWindow& window, std::uint64_t position, std::uint64_t end, std::uint64_t most)
      : window_(window), begin_(position), at_(position), end_(end), most_(most) {}

  std::optional<JpegPicture> Run() {
    unsigned char code = 0;
    if (!TakeMarker(code) || code != kBegin) return std::nullopt;
    for (bool scanned = false;;) {
      if (!TakeMarker(code)) return Ended(scanned);
      if (code == kEnd) {
        if (!scanned) return std::nullopt;
        picture_.size = at_ - begin_;
        return picture_;
      }
      // None of these stands between segments (ISO/IEC 10918-1, annex B): the picture broke off.
      if (code == kBegin || code < 0xC0 || IsRestart(code)) return Ended(scanned);
      if (!SkipSegment(code)) return Ended(scanned);
      if (code != kScan) continue;
      scanned = true;
      if (!SkipScan()) return Ended(scanned);
    }
  }

 private:
  // Without a scan nothing tells what it was.
  std::optional<JpegPicture> Ended(bool scanned) {
    if (!scanned) return std::nullopt;
    picture_.cut = cut_;
    picture_.damaged = !cut_;
    return picture_;
  }

  const unsigned char* Look(std::size_t count) {
    cut_ = cut_ || at_ > end_ || end_ - at_ < count;
    return cut_ || at_ + count - begin_ > most_ ? nullptr : window_.At(at_, count);
  }

  // Any number of fill bytes may stand in front of a marker.
  bool TakeMarker(unsigned char& code) {
    const unsigned char* bytes = Look(2);
    if (bytes == nullptr || bytes[0] != kMark) return false;
    for (; bytes[1] == kMark; ++at_) {
      bytes = at_ - begin_ < most_ ? Look(3) : nullptr;
      if (bytes == nullptr) return false;
      ++bytes;
    }
    code = bytes[1];
    at_ += 2;
    return true;
  }

  bool SkipSegment(unsigned char code) {
    const unsigned char* bytes = Look(2);
    if (bytes == nullptr) return false;
    const std::size_t size = std::size_t{bytes[0]} << 8 | bytes[1];
    bytes = Look(size);
    // A length counts its own two bytes (B.1.1.4).
    if (bytes == nullptr || size < 2) return false;
    constexpr std::size_t kSizes = 7;
    if (IsFrame(code) && size >= kSizes) {
      picture_.lines = std::uint32_t{bytes[3]} << 24 | std::uint32_t{bytes[4]} << 16 |
                       std::uint32_t{bytes[5]} << 8 | bytes[6];
    }
    at_ += size;
    return true;
  }

  // Up to the next marker that is neither a byte of the scan nor a restart.
  bool SkipScan() {
    while (at_ < end_ && at_ - begin_ <= most_) {
      const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, end_ - at_));
      const unsigned char* bytes = Look(size);
      if (bytes == nullptr) return false;
      picture_.scanned += size;
      for (std::size_t i = 0; i + 1 < size; ++i) {
        const void* mark = std::memchr(bytes + i, kMark, size - 1 - i);
        if (mark == nullptr) break;
        i = static_cast<std::size_t>(static_cast<const unsigned char*>(mark) - bytes);
        // A byte FF of the scan itself has a 0 behind it (B.1.1.5).
        if (bytes[i + 1] == 0 || IsRestart(bytes[i + 1])) continue;
        at_ += i;
        return true;
      }
      if (size < 2) break;
      // The last byte may be the first half of a marker.
      at_ += size - 1;
    }
    cut_ = cut_ || end_ - at_ < 2;
    return false;
  }

  MediaWindow& window_;
  const std::uint64_t begin_;
  std::uint64_t at_;
  const std::uint64_t end_;
  const std::uint64_t most_;
  bool cut_ = false;
  JpegPicture picture_;
};

}  // namespace

std::optional<JpegPicture> JpegAt(MediaWindow& window, std::uint64_t position, std::uint64_t end,
                                  std::uint64_t most) {
  return Scanner(window, position, end, most).Run();
}

bool IsWhole(MediaWindow& window, std::uint64_t position, std::uint64_t size) {
  std::vector<unsigned char> picture(static_cast<std::size_t>(size));
  return window.Copy(position, picture.data(), picture.size()) && HoldsAllBlocks(picture);
}

}  // namespace clipchain::rescue
