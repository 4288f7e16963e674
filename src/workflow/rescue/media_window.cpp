#include "workflow/rescue/media_window.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "workflow/system/open_file.h"

namespace clipchain::rescue {

namespace {

// What is kept behind the reading, for the way back to where a search began.
constexpr std::size_t kKept = 4 << 20;
// Twice as much, so that bytes are moved only after as many were read.
constexpr std::size_t kCapacity = 2 * kKept;
constexpr std::size_t kStep = 1 << 20;

}  // namespace

MediaWindow::MediaWindow(FileBytes& file) : file_(file), size_(file.Size()) {
  bytes_.resize(kCapacity);
}

const unsigned char* MediaWindow::At(std::uint64_t position, std::size_t count) {
  if (count > kMost || position > size_ || count > size_ - position) return nullptr;
  if (position < start_ || position > start_ + length_) {
    start_ = position;
    length_ = 0;
  }
  if (!Extend(position + count)) return nullptr;
  return bytes_.data() + (position - start_);
}

bool MediaWindow::Extend(std::uint64_t end) {
  while (start_ + length_ < end) {
    if (length_ + kStep > kCapacity) {
      const std::size_t gone = length_ - kKept;
      std::memmove(bytes_.data(), bytes_.data() + gone, kKept);
      start_ += gone;
      length_ = kKept;
    }
    const std::uint64_t from = start_ + length_;
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(kStep, size_ - from));
    if (!file_.Read(from, bytes_.data() + length_, step)) return false;
    length_ += step;
    work_ += step;
  }
  return true;
}

// Every third byte tells whether one of three zeros can be near: only at a byte
// below 3 is a closer look needed.
bool HoldsStartCode(const unsigned char* bytes, std::size_t count) {
  for (std::size_t i = 2; i < count;) {
    if (bytes[i] > 2) {
      i += 3;
    } else if (bytes[i - 1] == 0 && bytes[i - 2] == 0) {
      return true;
    } else {
      ++i;
    }
  }
  return false;
}

namespace {

// The last part of a file that is no hole ends there.
std::uint64_t EndOfData(const std::string& path, std::uint64_t size) {
#ifdef SEEK_DATA
  const Descriptor file = OpenToRead(path, O_NOCTTY);
  if (file < 0) return size;
  std::uint64_t end = 0;
  for (off_t at = 0; at < static_cast<off_t>(size);) {
    const off_t data = ::lseek(file, at, SEEK_DATA);
    if (data < 0) {
      // ENXIO says that no data comes behind; any other failure says nothing about holes.
      if (errno != ENXIO) end = size;
      break;
    }
    const off_t hole = ::lseek(file, data, SEEK_HOLE);
    // A file system that contradicts itself would keep this going for ever.
    if (hole <= data) {
      end = size;
      break;
    }
    end = static_cast<std::uint64_t>(hole);
    at = hole;
  }
  return std::min(end, size);
#else
  return size;
#endif
}

}  // namespace

std::uint64_t EndOfContent(const std::string& path, FileBytes& file) {
  std::uint64_t end = EndOfData(path, file.Size());
  std::vector<unsigned char> block(kStep);
  while (end > 0) {
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(kStep, end));
    // What can't be read may be content.
    if (!file.Read(end - step, block.data(), step)) return file.Size();
    for (std::size_t i = step; i > 0; --i) {
      if (block[i - 1] != 0) return end - step + i;
    }
    end -= step;
  }
  return 0;
}

}  // namespace clipchain::rescue
