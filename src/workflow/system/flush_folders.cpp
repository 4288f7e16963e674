#include "workflow/system/flush_folders.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "workflow/system/descriptor.h"
#include "workflow/system/part_file.h"
#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

Descriptor OpenFrom(int folder, const char* name, int flags) {
  return Descriptor(Uninterrupted(
      [&] { return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags); }));
}

}  // namespace

std::error_code FlushAbove(int folder, FlushedFolders& flushed) {
  FlushedFolders done;
  struct stat status;
  if (::fstat(folder, &status) != 0) return LastError();
  Descriptor below;
  for (int from = folder;; from = below) {
    const std::pair last(status.st_dev, status.st_ino);
    Descriptor above = OpenFrom(from, "..", O_PATH);
    // One that nobody here may enter or read is the system's, and was there before.
    if (above < 0 && errno == EACCES) break;
    if (above < 0 || ::fstat(above, &status) != 0) return LastError();
    const std::pair identity(status.st_dev, status.st_ino);
    // The root lies in itself.
    const bool isTop = identity == last || identity.first != last.first;
    if (isTop || flushed.contains(identity)) break;
    const Descriptor readable = OpenFrom(above, ".", 0);
    const std::error_code error = readable < 0 ? LastError() : Flush(readable);
    if (error && error != std::errc::permission_denied) return error;
    done.insert(identity);
    below = std::move(above);
  }
  flushed.merge(done);
  return {};
}

}  // namespace clipchain
