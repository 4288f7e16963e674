#include "workflow/keeping/clip_layout.h"

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "adapt/boxes/box_header.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kWindow = 4096;

// Headers that lie close together are read at once.
class Headers {
 public:
  explicit Headers(FileBytes& file) : file_(file), end_(file.Size()) {}

  Number End() const { return end_; }

  std::optional<BoxHeader> Take(Number at) {
    const auto size = static_cast<std::size_t>(std::min<Number>(BoxHeader::kLarge, end_ - at));
    if (at < begin_ || at + size > begin_ + window_.size()) {
      window_.resize(static_cast<std::size_t>(std::min<Number>(kWindow, end_ - at)));
      begin_ = at;
      if (!file_.Read(at, window_.data(), window_.size())) return std::nullopt;
    }
    return TakeBoxHeader(std::span(window_).subspan(static_cast<std::size_t>(at - begin_), size));
  }

 private:
  FileBytes& file_;
  const Number end_;
  Number begin_ = 0;
  std::vector<unsigned char> window_;
};

// Some programs leave zeros behind the last box; a merge passes over them.
bool IsZeroFrom(FileBytes& file, Number at, Number end) {
  std::vector<unsigned char> block(kWindow);
  while (at < end) {
    const auto size = static_cast<std::size_t>(std::min<Number>(kWindow, end - at));
    if (!file.Read(at, block.data(), size) ||
        std::any_of(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(size),
                    [](unsigned char byte) { return byte != 0; }))
      return false;
    at += size;
  }
  return true;
}

}  // namespace

ClipLayout ReadClipLayout(FileBytes& file) {
  Headers headers(file);
  ClipLayout layout;
  bool isMovie = false;
  for (Number at = 0; at < headers.End();) {
    const auto header = headers.Take(at);
    // A file of zeros is none with zeros behind its boxes.
    if (at != 0 && (!header || header->type == 0)) {
      if (!IsZeroFrom(file, at, headers.End())) return {};
      break;
    }
    if (!header || header->type == 0 || !header->FitsIn(headers.End() - at)) return {};
    const Number size = header->SizeWithin(headers.End() - at);
    // Fragments may be the only movie that a file has, as in a segment of a stream.
    isMovie = isMovie || header->type == FourCc("moov") || header->type == FourCc("moof");
    if (header->type == FourCc("mdat"))
      layout.media.push_back({at + header->headerSize, size - header->headerSize});
    at += size;
  }
  layout.isClip = isMovie;
  return layout;
}

}  // namespace clipchain
