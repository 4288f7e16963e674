#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <limits>
#include <new>
#include <system_error>

#include "foundation/platform/cfw.h"
#include "foundation/platform/read_failures.h"

namespace {

namespace fs = std::filesystem;

constexpr int kDone = 0;
constexpr int kFailed = -1;
constexpr int kNoHandleToWrite = 6;

enum Access : unsigned int { kRead = 1, kWrite = 2, kReadAndWrite = 3 };

// The system copies a request of this size while it is in the processor's cache: 16 MiB at once
// cost twice the time.
constexpr unsigned long long kTransferSize = 256 * 1024;

// Large writes have space reserved ahead of them in such steps, and go to the disk at once.
constexpr unsigned long long kLargeWrite = 1024 * 1024;
constexpr unsigned long long kReserveStep = 64 * kLargeWrite;

struct FileHandle {
  int descriptor;
  unsigned int access;
  off_t reservedEnd;  // what was reserved ends here; 0 if nothing was
};

FileHandle* File(void* handle) { return static_cast<FileHandle*>(handle); }

// Whether a call that failed is to be made again because a signal interrupted it. Signals come one
// at a time: a system that answers nothing else is at fault, and the call fails in the end.
class Interruptions {
 public:
  bool Excuse() { return errno == EINTR && left_-- > 0; }

 private:
  int left_ = 10000;
};

// What is no file with positions is not opened: a pipe would wait for its other end, a folder would
// open for reading.
bool HasPositions(const struct stat& status) {
  return S_ISREG(status.st_mode) || S_ISBLK(status.st_mode) || S_ISCHR(status.st_mode);
}

bool OpenFlags(unsigned int access, int& flags) {
  switch (access) {
    case kRead:
      flags = O_RDONLY;
      return true;
    case kWrite:
      flags = O_WRONLY;
      return true;
    case kReadAndWrite:
      flags = O_RDWR;
      return true;
    default:
      return false;
  }
}

int Open(const char* path, int flags) {
  constexpr mode_t kEveryoneAsTheMaskAllows = 0666;
  Interruptions interruptions;
  int descriptor;
  do {
    descriptor = ::open(path, flags | O_CLOEXEC | O_NOCTTY, kEveryoneAsTheMaskAllows);
  } while (descriptor < 0 && interruptions.Excuse());
  return descriptor;
}

int FailToRead(int descriptor) {
  QUIRVA::NoteReadFailure(descriptor);
  return kFailed;
}

off_t Position(const FileHandle& file) { return ::lseek(file.descriptor, 0, SEEK_CUR); }

// One request for much space is cheaper than the many that the file system would make for it. The
// file's size stays. Where it cannot be had nothing is lost: the write itself succeeds or fails.
void ReserveAhead([[maybe_unused]] FileHandle& file, [[maybe_unused]] unsigned long long count) {
#ifdef FALLOC_FL_KEEP_SIZE
  constexpr off_t kFarthest = std::numeric_limits<off_t>::max();
  if (count < kLargeWrite || count > kFarthest) return;
  const off_t position = Position(file);
  const auto length = static_cast<off_t>(std::max(count, kReserveStep));
  if (position < 0 || position > kFarthest - length) return;
  if (position + static_cast<off_t>(count) <= file.reservedEnd) return;
  // Within a file that is longer there may be holes, which are to stay.
  struct stat status;
  if (::fstat(file.descriptor, &status) != 0 || status.st_size > position) return;
  static_cast<void>(::fallocate(file.descriptor, FALLOC_FL_KEEP_SIZE, position, length));
  file.reservedEnd = position + length;
#endif
}

// The disk begins with what was written while the next block is copied, which leaves little to do
// for the flush at closing. That one tells about failures: this request sees none, and takes none
// away from it.
void StartFlush([[maybe_unused]] const FileHandle& file,
                [[maybe_unused]] unsigned long long count) {
#ifdef SYNC_FILE_RANGE_WRITE
  if (count < kLargeWrite) return;
  const off_t end = Position(file);
  const auto length = static_cast<off_t>(count);
  if (end < length) return;
  static_cast<void>(
      ::sync_file_range(file.descriptor, end - length, length, SYNC_FILE_RANGE_WRITE));
#endif
}

// Gives back what was reserved behind the end of the file: cutting the file at its end does. Space
// that stays reserved is no failure.
void ReleaseReserved(const FileHandle& file) {
  struct stat status;
  if (::fstat(file.descriptor, &status) != 0 || file.reservedEnd <= status.st_size) return;
  [[maybe_unused]] const int unreported = ::ftruncate(file.descriptor, status.st_size);
}

// Runs a call of the standard library's file system, which reports through an error code; only
// memory that runs out is thrown.
template <class Call>
int RunUnreported(Call call) {
  try {
    std::error_code unreported;
    call(unreported);
    return kDone;
  } catch (const std::exception&) {
    return kFailed;
  }
}

// Whether a destination that does not exist yet would lie inside of the source.
bool LiesWithin(const fs::path& destination, const fs::path& source, std::error_code& error) {
  const fs::path inner = fs::weakly_canonical(destination, error);
  const fs::path outer = fs::weakly_canonical(source, error);
  return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

// A folder is not copied into itself: it would have its copy to copy, too.
void Copy(const fs::path& source, const fs::path& destination, std::error_code& error) {
  if (LiesWithin(destination, source, error)) return;
  fs::copy(source, destination, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
           error);
}

bool IsTaken(const fs::path& path) {
  std::error_code unreported;
  return fs::exists(fs::symlink_status(path, unreported));
}

}  // namespace

void* CFWCreateFile(const char* location, unsigned int access) {
  int flags = 0;
  if (location == nullptr || !OpenFlags(access, flags)) return nullptr;
  struct stat status;
  const bool isThere = ::stat(location, &status) == 0;
  if (!isThere) QUIRVA::NoteReadFailure(location);
  if (isThere && !HasPositions(status)) return nullptr;
  // A file that is there is not to be created: in a folder that others write to, too, the system
  // may refuse that.
  if (!isThere && access != kRead) flags |= O_CREAT;
  const int descriptor = Open(location, flags);
  if (descriptor < 0) {
    QUIRVA::NoteReadFailure(location);
    return nullptr;
  }
  FileHandle* file = new (std::nothrow) FileHandle{descriptor, access, 0};
  if (file == nullptr) {
    QUIRVA::NoteReadFailure(location);
    ::close(descriptor);
  }
  return file;
}

int CFWCloseHandle(void* handle) {
  if (handle == nullptr) return kFailed;
  const FileHandle file = *File(handle);
  delete File(handle);
  int result = kDone;
  if (file.reservedEnd != 0) ReleaseReserved(file);
  // Through a handle for reading nothing was written. A device without a disk refuses with EINVAL.
  if (file.access != kRead && ::fsync(file.descriptor) != 0 && errno != EINVAL) result = kFailed;
  // The descriptor is gone even if the call was interrupted.
  if (::close(file.descriptor) != 0 && errno != EINTR) result = kFailed;
  return result;
}

int CFWReadFile(void* handle, void* buffer, unsigned long long count, long long* read) {
  if (handle == nullptr) return kFailed;
  unsigned long long done = 0;
  Interruptions interruptions;
  *read = 0;
  while (done < count) {
    const ssize_t came = ::read(File(handle)->descriptor, static_cast<char*>(buffer) + done,
                                std::min(count - done, kTransferSize));
    if (came < 0 && interruptions.Excuse()) continue;
    if (came < 0) return FailToRead(File(handle)->descriptor);
    if (came == 0) break;
    done += static_cast<unsigned long long>(came);
  }
  *read = static_cast<long long>(done);
  return kDone;
}

int CFWWriteFile(void* handle, const void* buffer, unsigned long long count, long long* written) {
  if (handle == nullptr) return kNoHandleToWrite;
  unsigned long long done = 0;
  Interruptions interruptions;
  *written = 0;
  ReserveAhead(*File(handle), count);
  while (done < count) {
    const ssize_t went = ::write(File(handle)->descriptor, static_cast<const char*>(buffer) + done,
                                 std::min(count - done, kTransferSize));
    if (went < 0 && interruptions.Excuse()) continue;
    if (went < 0) return -errno;
    if (went == 0) return -EIO;
    done += static_cast<unsigned long long>(went);
  }
  StartFlush(*File(handle), count);
  *written = static_cast<long long>(done);
  return kDone;
}

int CFWGetFileSize(void* handle, long long* size) {
  if (handle == nullptr) return kFailed;
  const FileHandle& file = *File(handle);
  const off_t position = Position(file);
  if (position < 0) return FailToRead(file.descriptor);
  const off_t end = ::lseek(file.descriptor, 0, SEEK_END);
  if (end < 0 || ::lseek(file.descriptor, position, SEEK_SET) < 0)
    return FailToRead(file.descriptor);
  *size = end;
  return kDone;
}

int CFWGetFilePointer(void* handle, long long* position) {
  if (handle == nullptr) return kFailed;
  const off_t current = Position(*File(handle));
  *position = std::max<off_t>(current, 0);
  return current < 0 ? FailToRead(File(handle)->descriptor) : kDone;
}

int CFWSetFilePointer(void* handle, long long offset, unsigned int origin) {
  static constexpr int kOrigins[] = {SEEK_SET, SEEK_END, SEEK_CUR};
  if (handle == nullptr || origin < 1 || origin > std::size(kOrigins)) return kFailed;
  const int descriptor = File(handle)->descriptor;
  if (::lseek(descriptor, offset, kOrigins[origin - 1]) >= 0) return kDone;
  // A position before the start was asked for, and says nothing of the file.
  return errno == EINVAL ? kFailed : FailToRead(descriptor);
}

int CFWSetEOF(void* handle) {
  if (handle == nullptr) return kFailed;
  const FileHandle& file = *File(handle);
  const off_t position = Position(file);
  return position < 0 || ::ftruncate(file.descriptor, position) != 0 ? kFailed : kDone;
}

int CFWFileIsExist(const char* path) {
  struct stat status;
  return path != nullptr && ::stat(path, &status) == 0 ? 1 : 0;
}

int CFWCopyFile(const char* source, const char* destination) {
  if (source == nullptr || destination == nullptr) return kFailed;
  return RunUnreported([=](std::error_code& error) {
    if (!IsTaken(destination)) Copy(source, destination, error);
  });
}

int CFWRenameFile(const char* source, const char* destination) {
  if (source == nullptr || destination == nullptr) return kFailed;
  return RunUnreported([=](std::error_code& error) {
    if (IsTaken(destination)) return;
    fs::rename(source, destination, error);
    if (error != std::errc::cross_device_link) return;
    Copy(source, destination, error);
    if (!error) fs::remove_all(source, error);
  });
}

int CFWDeleteFile(const char* location) {
  if (location == nullptr) return kFailed;
  struct stat status;
  if (::lstat(location, &status) != 0) return 0;
  if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) return 0;
  return ::unlink(location) == 0 ? 1 : 0;
}
