#include "workflow/system/file_output.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// The disk is told to begin whenever so much is there.
constexpr Number kFlushStep = 8 * 1024 * 1024;

}  // namespace

void FileOutput::Reserve(Number size) const {
  // The size grows by writing alone: room that was only reserved must not look like bytes.
  static_cast<void>(::fallocate(file_, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)));
}

std::error_code FileOutput::Write(Number position, const void* bytes, std::size_t size) {
  const char* data = static_cast<const char*>(bytes);
  if (position != flushed_ + written_) {
    flushed_ = position;
    written_ = 0;
  }
  while (size > 0) {
    const ssize_t went =
        Uninterrupted([&] { return ::pwrite(file_, data, size, static_cast<off_t>(position)); });
    if (went < 0) return LastError();
    // Neither a byte nor an error: to go on asking could take for ever.
    if (went == 0) return SystemError(EIO);
    data += went;
    size -= static_cast<std::size_t>(went);
    position += static_cast<Number>(went);
    written_ += static_cast<Number>(went);
  }
  if (written_ >= kFlushStep) StartFlush();
  return {};
}

// The flush in the end tells about failures: this request sees none, and takes none away from it.
void FileOutput::StartFlush() {
  static_cast<void>(::sync_file_range(file_, static_cast<off_t>(flushed_),
                                      static_cast<off_t>(written_), SYNC_FILE_RANGE_WRITE));
  flushed_ += written_;
  written_ = 0;
}

std::error_code FileOutput::Share(int source, Number from, Number size, Number to) const {
  file_clone_range range{};
  range.src_fd = source;
  range.src_offset = from;
  range.src_length = size;
  range.dest_offset = to;
  return ErrorOf(Uninterrupted([&] { return ::ioctl(file_, FICLONERANGE, &range); }));
}

}  // namespace clipchain
