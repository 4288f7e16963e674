#include "workflow/system/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <utility>

#include "foundation/result.h"
#include "workflow/system/part_name.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

int Open(const std::string& path, int flags) {
  constexpr mode_t kEveryoneAsTheMaskAllows = 0666;
  return Uninterrupted([&] {
    return ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY,
                  kEveryoneAsTheMaskAllows);
  });
}

// Where a file system has no locks, in whatever words it says so, nobody can have one.
bool HasNoLocks(int error) {
  constexpr int kErrors[] = {ENOLCK, EOPNOTSUPP, ENOSYS, EPERM, EACCES, EINVAL};
  return std::find(std::begin(kErrors), std::end(kErrors), error) != std::end(kErrors);
}

int RenameWithoutReplacing(const std::string& from, const std::string& to) {
  return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0
                                                                                          : errno;
}

// Whether the system, or the file system, knows no renaming without replacing.
bool IsUnknown(int error) { return error == ENOSYS || error == EINVAL || error == EOPNOTSUPP; }

// Holds the lock of a folder while it lives.
class FolderLock {
 public:
  explicit FolderLock(int folder) : folder_(folder) {
    constexpr int kAttempts = 300;
    constexpr timespec kBetween = {0, 100'000'000};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      error_ = ::flock(folder_, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
      if (error_ != EWOULDBLOCK && error_ != EINTR) return;
      ::nanosleep(&kBetween, nullptr);
    }
  }
  ~FolderLock() {
    if (error_ == 0) ::flock(folder_, LOCK_UN);
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  int error() const { return error_; }

 private:
  const int folder_;
  int error_ = 0;
};

}  // namespace

PartFile::~PartFile() {
  [[maybe_unused]] const int unreported = Discard();
  if (file_ >= 0) ::close(file_);
  if (folder_ >= 0) ::close(folder_);
}

int PartFile::Discard() {
  if (!path_.empty() && ::unlink(path_.c_str()) != 0 && errno != ENOENT) return errno;
  path_.clear();
  return 0;
}

int PartFile::Create(const std::string& output) {
  output_ = output;
  const std::string name = NameOf(output);
  if (name.empty() || name == "." || name == "..") return EISDIR;
  folder_ = Uninterrupted(
      [&] { return ::open(FolderOf(output).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (folder_ < 0) return errno;
  constexpr int kAttempts = 16;
  int error = EEXIST;
  for (int attempt = 0; error == EEXIST && attempt < kAttempts; ++attempt) error = TryToCreate();
  return error == 0 ? FindNaming() : error;
}

// By another hidden name, which the file keeps where it gets it.
int PartFile::FindNaming() {
  const std::string other = NewPartPath(output_);
  const int error = RenameWithoutReplacing(path_, other);
  if (error == 0) path_ = other;
  if (error == 0 || !IsUnknown(error)) return error;
  naming_ = ::link(path_.c_str(), other.c_str()) == 0 ? Naming::kLink : Naming::kLook;
  if (naming_ == Naming::kLook || ::unlink(other.c_str()) == 0) return 0;
  // Both names are the file's, and either will do.
  if (::unlink(path_.c_str()) != 0) return errno;
  path_ = other;
  return 0;
}

int PartFile::TryToCreate() {
  const std::string path = NewPartPath(output_);
  file_ = Open(path, O_RDWR | O_CREAT | O_EXCL);
  if (file_ < 0) return errno;
  path_ = path;
  const int error = Lock();
  if (error != EEXIST) return error;
  RETURN_IF_NOT_OK(Discard());
  ::close(std::exchange(file_, -1));
  return EEXIST;
}

// EEXIST if between the creation and the lock somebody took the file for one left behind.
int PartFile::Lock() const {
  if (Uninterrupted([this] { return ::flock(file_, LOCK_EX | LOCK_NB); }) != 0) {
    if (errno == EWOULDBLOCK) return EEXIST;
    return HasNoLocks(errno) ? 0 : errno;
  }
  struct stat status;
  if (::fstat(file_, &status) != 0) return errno;
  return status.st_nlink == 0 ? EEXIST : 0;
}

int PartFile::Empty() const { return ::ftruncate(file_, 0) == 0 ? 0 : errno; }

unsigned int PartFile::BlockSize() const {
  constexpr unsigned long kLeast = 512;
  constexpr unsigned long kMost = 1 << 16;
  struct statvfs status;
  if (::fstatvfs(file_, &status) != 0) return 0;
  const unsigned long block = status.f_bsize;
  const bool isOfUse = std::has_single_bit(block) && block >= kLeast && block <= kMost;
  return isOfUse ? static_cast<unsigned int>(block) : 0;
}

int PartFile::Publish(bool overwrite) {
  if (overwrite) {
    if (::rename(path_.c_str(), output_.c_str()) != 0) return errno;
    path_.clear();
    return 0;
  }
  return RenameToFreeName();
}

int PartFile::Exchange() {
  return ::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, output_.c_str(), RENAME_EXCHANGE) == 0
             ? 0
             : errno;
}

int PartFile::RenameToFreeName() {
  if (naming_ == Naming::kLook) return LookAndRename();
  // A link never replaces anything either. The hidden name goes later.
  if (naming_ == Naming::kLink) return ::link(path_.c_str(), output_.c_str()) == 0 ? 0 : errno;
  const int error = RenameWithoutReplacing(path_, output_);
  if (error == 0) path_.clear();
  return error;
}

int PartFile::LookAndRename() {
  const FolderLock lock(folder_);
  if (lock.error() != 0 && !HasNoLocks(lock.error())) return lock.error();
  struct stat status;
  if (::lstat(output_.c_str(), &status) == 0) return EEXIST;
  if (errno != ENOENT) return errno;
  if (::rename(path_.c_str(), output_.c_str()) != 0) return errno;
  path_.clear();
  return 0;
}

int PartFile::FlushFolder() {
  // What a link has left of the hidden name.
  if (!path_.empty() && ::unlink(path_.c_str()) == 0) path_.clear();
  return Flush(folder_);
}

int Flush(int descriptor) {
  return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

}  // namespace clipchain
