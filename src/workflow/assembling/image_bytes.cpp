#include "workflow/assembling/image_bytes.h"

#include <algorithm>

namespace clipchain {

// Pieces fill the image from 0 on without a gap: the position lies in the one before the next.
std::vector<ImagePiece>::const_iterator ImageBytes::PieceAt(unsigned long long position) const {
  return std::upper_bound(
             image_.pieces.begin(), image_.pieces.end(), position,
             [](unsigned long long at, const ImagePiece& next) { return at < next.position; }) -
         1;
}

std::span<const unsigned char> ImageBytes::Lend(unsigned long long position, std::size_t size) {
  if (position >= image_.size || size > image_.size - position) return {};
  const ImagePiece& piece = *PieceAt(position);
  const unsigned long long skip = position - piece.position;
  if (piece.clip != ImagePiece::kNoClip || size > piece.size - skip) return {};
  return image_.Own(piece).subspan(skip, size);
}

bool ImageBytes::Read(unsigned long long position, void* buffer, std::size_t size) {
  auto* out = static_cast<unsigned char*>(buffer);
  if (position > image_.size || size > image_.size - position) return false;
  if (size == 0) return true;
  for (auto piece = PieceAt(position); size > 0; ++piece) {
    const ImagePiece& source = *piece;
    const unsigned long long skip = position - source.position;
    const auto part =
        static_cast<std::size_t>(std::min<unsigned long long>(source.size - skip, size));
    if (source.clip == ImagePiece::kNoClip) {
      std::copy_n(image_.Own(source).data() + skip, part, out);
    } else if (!ReadMedia(source, skip, out, part)) {
      return false;
    }
    out += part;
    position += part;
    size -= part;
  }
  return true;
}

bool ImageBytes::ReadMedia(const ImagePiece& piece, unsigned long long skip, unsigned char* out,
                           std::size_t size) {
  // Pieces of a clip stand together: one open file at a time is enough for any number of clips.
  if (piece.clip != open_) {
    source_ = std::make_unique<FileBytes>(clips_[piece.clip]);
    open_ = piece.clip;
  }
  if (source_->Read(piece.source + skip, out, size)) return true;
  SetError(source_->error());
  return false;
}

}  // namespace clipchain
