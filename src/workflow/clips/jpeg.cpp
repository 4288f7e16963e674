#include "workflow/clips/jpeg.h"

#include <cstring>

#include "foundation/big_endian.h"
#include "foundation/cursor.h"

namespace clipchain {

namespace {

using QUIRVA::be16;

constexpr unsigned char kMarkerStart = 0xFF;
constexpr unsigned char kTemporary = 0x01;
constexpr unsigned char kFirstRestart = 0xD0;
constexpr unsigned char kLastRestart = 0xD7;
constexpr unsigned char kStartOfImage = 0xD8;
constexpr unsigned char kEndOfImage = 0xD9;
constexpr unsigned char kStartOfScan = 0xDA;

struct FrameHead {
  unsigned char precision;
  be16 height;
  be16 width;
};
static_assert(sizeof(FrameHead) == 5);

bool IsRestart(unsigned char marker) { return marker >= kFirstRestart && marker <= kLastRestart; }

// Among the codes of frames stand those of Huffman tables, of extensions and of arithmetic coding.
bool IsStartOfFrame(unsigned char marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

class JpegWalk {
 public:
  JpegWalk(const unsigned char* bytes, unsigned int count)
      : in_(bytes), rest_(count), count_(count) {}

  std::optional<JpegExtent> Walk() {
    unsigned char marker = 0;
    if (!TakeMarker(marker) || marker != kStartOfImage) return std::nullopt;
    while (TakeMarker(marker)) {
      if (marker == kEndOfImage) return End();
      if (!PassSegment(marker)) return std::nullopt;
    }
    return std::nullopt;
  }

 private:
  // Any number of fill bytes may stand in front of a marker's code.
  bool TakeMarker(unsigned char& marker) {
    if (QUIRVA::Take(in_, rest_, marker) != S_OK || marker != kMarkerStart) return false;
    do {
      if (QUIRVA::Take(in_, rest_, marker) != S_OK) return false;
    } while (marker == kMarkerStart);
    return true;
  }

  bool PassSegment(unsigned char marker) {
    // These have no length, and are out of place between segments.
    if (marker == 0 || marker == kTemporary || marker == kStartOfImage || IsRestart(marker))
      return false;
    be16 length;
    if (QUIRVA::Take(in_, rest_, length) != S_OK || length < sizeof length) return false;
    if (IsStartOfFrame(marker) && !ReadFrame()) return false;
    if (QUIRVA::Skip(in_, rest_, length - static_cast<unsigned int>(sizeof length)) != S_OK)
      return false;
    // Behind the head of a scan stand its data, the length of which nothing tells.
    return marker != kStartOfScan || PassScan();
  }

  // Leaves the cursor where it is.
  bool ReadFrame() {
    const unsigned char* in = in_;
    unsigned int rest = rest_;
    FrameHead head;
    if (QUIRVA::Take(in, rest, head) != S_OK || head.width == 0 || head.height == 0) return false;
    width_ = head.width;
    height_ = head.height;
    return true;
  }

  // Up to the marker that ends the compressed data. There a 0xFF of the data has a zero behind it.
  bool PassScan() {
    scanned_ = true;
    while (rest_ != 0) {
      const void* found = std::memchr(in_, kMarkerStart, rest_);
      if (found == nullptr) return false;
      const auto before = static_cast<unsigned int>(static_cast<const unsigned char*>(found) - in_);
      const unsigned char* next = in_;
      unsigned int left = rest_;
      unsigned char code = 0;
      if (QUIRVA::Skip(next, left, before + 1) != S_OK || QUIRVA::Take(next, left, code) != S_OK)
        return false;
      const bool data = code == 0 || IsRestart(code);
      if (QUIRVA::Skip(in_, rest_, data ? before + 2 : before) != S_OK) return false;
      if (!data) return true;
    }
    return false;
  }

  std::optional<JpegExtent> End() const {
    if (width_ == 0 || !scanned_) return std::nullopt;
    return JpegExtent{count_ - rest_, width_, height_};
  }

  const unsigned char* in_;
  unsigned int rest_;
  const unsigned int count_;
  unsigned int width_ = 0;
  unsigned int height_ = 0;
  bool scanned_ = false;
};

}  // namespace

std::optional<JpegExtent> FindJpeg(const unsigned char* bytes, unsigned int count) {
  return JpegWalk(bytes, count).Walk();
}

}  // namespace clipchain
