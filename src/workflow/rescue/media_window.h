// Reads a file through a window of bounded size that moves with the reading.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "workflow/system/file_bytes.h"

namespace clipchain::rescue {

class MediaWindow {
 public:
  // What can be lent at once.
  static constexpr std::size_t kMost = 1 << 20;

  // The file must outlive this object.
  explicit MediaWindow(FileBytes& file);

  std::uint64_t Size() const { return size_; }
  // That many bytes, at most kMost, at a position; null where the file ends
  // before, or can't be read. Lent until the next call.
  const unsigned char* At(std::uint64_t position, std::size_t count);
  // Copies any number of bytes; false as above.
  bool Copy(std::uint64_t position, void* bytes, std::size_t count) {
    return file_.Read(position, bytes, count);
  }
  // Bytes that were read off the file so far, some of them again and again.
  std::uint64_t Work() const { return work_; }
  // Whether a read failed for another reason than the end of the file.
  bool Failed() const { return static_cast<bool>(file_.error()); }

 private:
  bool Extend(std::uint64_t end);

  FileBytes& file_;
  std::uint64_t size_;
  std::uint64_t start_ = 0;
  std::size_t length_ = 0;
  std::uint64_t work_ = 0;
  std::vector<unsigned char> bytes_;
};

// Whether such bytes stand in it, which no unit of video holds: two zeros and a
// third one, a 1 or a 2 (ISO/IEC 14496-10, 7.4.1).
bool HoldsStartCode(const unsigned char* bytes, std::size_t count);

// Where the zeros begin at which the file ends; its size if it ends otherwise.
// Holes are passed over unread.
std::uint64_t EndOfContent(const std::string& path, FileBytes& file);

}  // namespace clipchain::rescue
