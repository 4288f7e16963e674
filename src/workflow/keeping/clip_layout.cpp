#include "workflow/keeping/clip_layout.h"

#include <algorithm>
#include <cstring>

#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kHeader = 8;
constexpr std::size_t kLargeHeader = 16;
constexpr std::size_t kWindow = 4096;

// Headers that lie close together are read at once.
class Headers {
 public:
  explicit Headers(FileBytes& file) : file_(file), end_(file.Size()) {}

  Number End() const { return end_; }

  bool Read(Number at, unsigned char* out, std::size_t size) {
    if (size > end_ - at) return false;
    if (at < begin_ || at + size > begin_ + window_.size()) {
      window_.resize(static_cast<std::size_t>(std::min<Number>(kWindow, end_ - at)));
      begin_ = at;
      if (!file_.Read(at, window_.data(), window_.size())) return false;
    }
    std::memcpy(out, window_.data() + (at - begin_), size);
    return true;
  }

 private:
  FileBytes& file_;
  const Number end_;
  Number begin_ = 0;
  std::vector<unsigned char> window_;
};

bool IsPrintable(const unsigned char* type) {
  return std::all_of(type, type + 4, [](unsigned char c) { return c >= 0x20 && c != 0x7F; });
}

}  // namespace

// Sizes as in ISO/IEC 14496-12, clause 4.2: 1 stands for a larger one behind the type, 0 for all
// that is left.
ClipLayout ReadClipLayout(FileBytes& file) {
  Headers headers(file);
  ClipLayout layout;
  bool isMovie = false;
  for (Number at = 0; at < headers.End();) {
    unsigned char bytes[kLargeHeader];
    if (!headers.Read(at, bytes, kHeader) || !IsPrintable(bytes + 4)) return {};
    QUIRVA::be32 field;
    std::memcpy(&field, bytes, sizeof field);
    Number size = field;
    std::size_t header = kHeader;
    if (size == 1) {
      if (!headers.Read(at, bytes, kLargeHeader)) return {};
      QUIRVA::be64 large;
      std::memcpy(&large, bytes + kHeader, sizeof large);
      size = large;
      header = kLargeHeader;
    }
    if (size == 0) size = headers.End() - at;
    if (size < header || size > headers.End() - at) return {};
    std::memcpy(&field, bytes + 4, sizeof field);
    const unsigned int type = field;
    isMovie = isMovie || type == FourCc("moov") || type == FourCc("moof");
    if (type == FourCc("mdat")) layout.media.push_back({at + header, size - header});
    at += size;
  }
  layout.isClip = isMovie;
  return layout;
}

}  // namespace clipchain
