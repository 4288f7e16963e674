// Reads a merged file that nobody has written.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "workflow/assembling/merge_image.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// Gives what would be read back of a file that is written as the image says.
class ImageBytes : public FileBytes {
 public:
  // Both must outlive this object.
  ImageBytes(const std::vector<std::string>& clips, const MergeImage& image)
      : clips_(clips), image_(image) {}

  unsigned long long Size() override { return image_.size; }
  bool Read(unsigned long long position, void* buffer, std::size_t size) override;
  std::span<const unsigned char> Lend(unsigned long long position, std::size_t size) override;

 protected:
  // Bytes of a clip's piece behind its first `skip` ones.
  virtual bool ReadMedia(const ImagePiece& piece, unsigned long long skip, unsigned char* out,
                         std::size_t size);

 private:
  // That holds a byte of the image.
  std::vector<ImagePiece>::const_iterator PieceAt(unsigned long long position) const;

  const std::vector<std::string>& clips_;
  const MergeImage& image_;
  std::unique_ptr<FileBytes> source_;
  std::size_t open_ = ImagePiece::kNoClip;
};

}  // namespace clipchain
