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

#include "workflow/system/open_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

Descriptor Open(const std::string& path, int flags) {
  constexpr mode_t kEveryoneAsTheMaskAllows = 0666;
  return Descriptor(Uninterrupted([&] {
    return ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY,
                  kEveryoneAsTheMaskAllows);
  }));
}

// Where a file system has no locks, in whatever words it says so, nobody can have one.
bool HasNoLocks(const std::error_code& error) {
  constexpr int kErrors[] = {ENOLCK, EOPNOTSUPP, ENOSYS, EPERM, EACCES, EINVAL};
  return std::find(std::begin(kErrors), std::end(kErrors), error.value()) != std::end(kErrors);
}

std::error_code RenameWithoutReplacing(const std::string& from, const std::string& to) {
  return ErrorOf(::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE));
}

// Whether the system, or the file system, knows no renaming without replacing.
bool IsUnknown(const std::error_code& error) {
  return error == std::errc::function_not_supported || error == std::errc::invalid_argument ||
         error == std::errc::operation_not_supported;
}

// Holds the lock of a folder while it lives.
class FolderLock {
 public:
  explicit FolderLock(int folder) : folder_(folder) {
    // Half a minute: whoever holds the lock looks for a name and renames, and does no more.
    constexpr int kAttempts = 300;
    constexpr timespec kBetween = {0, 100'000'000};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      error_ = ErrorOf(::flock(folder_, LOCK_EX | LOCK_NB));
      if (error_ != std::errc::operation_would_block && error_ != std::errc::interrupted) return;
      ::nanosleep(&kBetween, nullptr);
    }
  }
  ~FolderLock() {
    if (!error_) ::flock(folder_, LOCK_UN);
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  const std::error_code& error() const { return error_; }

 private:
  const int folder_;
  std::error_code error_;
};

}  // namespace

PartFile::~PartFile() { [[maybe_unused]] const std::error_code unreported = Discard(); }

std::error_code PartFile::Discard() {
  if (!path_.empty() && ::unlink(path_.c_str()) != 0 && errno != ENOENT) return LastError();
  path_.clear();
  return {};
}

std::error_code PartFile::Create(const std::string& output) {
  output_ = output;
  const std::string name = NameOf(output);
  if (name.empty() || name == "." || name == "..") return SystemError(EISDIR);
  folder_ = OpenToRead(FolderOf(output), O_DIRECTORY);
  if (folder_ < 0) return LastError();
  constexpr int kAttempts = 16;
  std::error_code error = SystemError(EEXIST);
  for (int attempt = 0; error == std::errc::file_exists && attempt < kAttempts; ++attempt)
    error = TryToCreate();
  return error ? error : FindNaming();
}

// By another hidden name, which the file keeps where it gets it.
std::error_code PartFile::FindNaming() {
  const std::string other = NewPartPath(output_);
  // Known before there is anything to lose: a merge of hours must not end at a name that it can't
  // give.
  const std::error_code error = RenameWithoutReplacing(path_, other);
  if (!error) path_ = other;
  if (!error || !IsUnknown(error)) return error;
  naming_ = ::link(path_.c_str(), other.c_str()) == 0 ? Naming::kLink : Naming::kLook;
  if (naming_ == Naming::kLook || ::unlink(other.c_str()) == 0) return {};
  // Both names are the file's, and either will do.
  if (::unlink(path_.c_str()) != 0) return LastError();
  path_ = other;
  return {};
}

std::error_code PartFile::TryToCreate() {
  const std::string path = NewPartPath(output_);
  file_ = Open(path, O_RDWR | O_CREAT | O_EXCL);
  if (file_ < 0) return LastError();
  path_ = path;
  const std::error_code error = Lock();
  if (error != std::errc::file_exists) return error;
  if (const std::error_code kept = Discard()) return kept;
  file_.Close();
  return error;
}

// "Exists" if between the creation and the lock somebody took the file for one left behind.
std::error_code PartFile::Lock() const {
  if (Uninterrupted([this] { return ::flock(file_, LOCK_EX | LOCK_NB); }) != 0) {
    const std::error_code error = LastError();
    if (error == std::errc::operation_would_block) return SystemError(EEXIST);
    return HasNoLocks(error) ? std::error_code() : error;
  }
  struct stat status;
  if (::fstat(file_, &status) != 0) return LastError();
  return SystemError(status.st_nlink == 0 ? EEXIST : 0);
}

std::error_code PartFile::Empty() const { return ErrorOf(::ftruncate(file_, 0)); }

unsigned int PartFile::BlockSize() const {
  constexpr unsigned long kLeast = 512;
  constexpr unsigned long kMost = 1 << 16;
  struct statvfs status;
  if (::fstatvfs(file_, &status) != 0) return 0;
  const unsigned long block = status.f_bsize;
  const bool isOfUse = std::has_single_bit(block) && block >= kLeast && block <= kMost;
  return isOfUse ? static_cast<unsigned int>(block) : 0;
}

std::error_code PartFile::Publish(bool overwrite) {
  if (!overwrite) return RenameToFreeName();
  if (::rename(path_.c_str(), output_.c_str()) != 0) return LastError();
  path_.clear();
  return {};
}

std::error_code PartFile::Exchange() {
  return ErrorOf(::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, output_.c_str(), RENAME_EXCHANGE));
}

std::error_code PartFile::RenameToFreeName() {
  if (naming_ == Naming::kLook) return LookAndRename();
  // A link never replaces anything either. The hidden name goes later.
  if (naming_ == Naming::kLink) return ErrorOf(::link(path_.c_str(), output_.c_str()));
  const std::error_code error = RenameWithoutReplacing(path_, output_);
  if (!error) path_.clear();
  return error;
}

std::error_code PartFile::LookAndRename() {
  const FolderLock lock(folder_);
  if (lock.error() && !HasNoLocks(lock.error())) return lock.error();
  struct stat status;
  if (::lstat(output_.c_str(), &status) == 0) return SystemError(EEXIST);
  if (errno != ENOENT || ::rename(path_.c_str(), output_.c_str()) != 0) return LastError();
  path_.clear();
  return {};
}

std::error_code PartFile::FlushFolder() {
  // What a link has left of the hidden name.
  if (!path_.empty() && ::unlink(path_.c_str()) == 0) path_.clear();
  return Flush(folder_);
}

std::error_code Flush(int descriptor) {
  const std::error_code error = ErrorOf(::fsync(descriptor));
  const bool knowsNone = error == std::errc::invalid_argument || error == std::errc::not_supported;
  return knowsNone ? std::error_code() : error;
}

}  // namespace clipchain
