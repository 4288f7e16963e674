#include "workflow/system/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/platform/read_failures.h"
#include "workflow/system/open_file.h"
#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

// A terminal that is named by mistake must not become the one whose keys send this process signals.
FileBytes::FileBytes(const std::string& path) : owned_(OpenToRead(path, O_NOCTTY)), file_(owned_) {
  if (file_ < 0) error_ = LastError();
}

FileBytes::FileBytes(int descriptor) : file_(descriptor) {}

unsigned long long FileBytes::Size() {
  struct stat status;
  if (::fstat(file_, &status) == 0) return static_cast<unsigned long long>(status.st_size);
  Fail();
  return 0;
}

bool FileBytes::IsFile() {
  struct stat status;
  if (::fstat(file_, &status) == 0) return S_ISREG(status.st_mode);
  Fail();
  return false;
}

bool FileBytes::Read(unsigned long long position, void* buffer, std::size_t size) {
  char* out = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t came =
        Uninterrupted([&] { return ::pread(file_, out, size, static_cast<off_t>(position)); });
    if (came < 0) Fail();
    // Less than was asked for is the end of the file, and no error.
    if (came <= 0) return false;
    out += came;
    size -= static_cast<std::size_t>(came);
    position += static_cast<unsigned long long>(came);
  }
  return true;
}

void FileBytes::Fail() {
  // What was never opened fails again and again: why it could not be opened is known, and told of.
  if (file_ < 0 && error_) return;
  error_ = LastError();
  QUIRVA::NoteReadFailure(file_);
}

std::span<const unsigned char> FileBytes::Lend(unsigned long long /*position*/,
                                               std::size_t /*size*/) {
  return {};
}

void FileBytes::ForgetCached() {
  [[maybe_unused]] const int unneeded = ::posix_fadvise(file_, 0, 0, POSIX_FADV_DONTNEED);
}

}  // namespace clipchain
