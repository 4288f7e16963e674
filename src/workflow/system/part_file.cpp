#include "workflow/system/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
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

// Where a file system has no locks nobody can have one.
bool HasNoLocks(int error) { return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS; }

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
  return error;
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

int PartFile::TryToGrow() const {
  struct stat status;
  if (::fstat(file_, &status) != 0) return errno;
  const std::string block(1024 * 1024, '\0');
  const ssize_t went = ::pwrite(file_, block.data(), block.size(), status.st_size);
  if (went < 0) return errno;
  return went < static_cast<ssize_t>(block.size()) ? ENOSPC : 0;
}

int PartFile::ReplaceEnd(long long position, const std::vector<unsigned char>& bytes) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t went = ::pwrite(file_, bytes.data() + done, bytes.size() - done,
                                  position + static_cast<long long>(done));
    if (went < 0 && errno == EINTR) continue;
    if (went < 0) return errno;
    if (went == 0) return ENOSPC;
    done += static_cast<std::size_t>(went);
  }
  return ::ftruncate(file_, position + static_cast<long long>(done)) == 0 ? 0 : errno;
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
  if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, output_.c_str(), RENAME_NOREPLACE) == 0) {
    path_.clear();
    return 0;
  }
  // The system or this file system does not know the flag. A link never replaces anything either.
  // The hidden name goes later.
  if (errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP) return errno;
  return ::link(path_.c_str(), output_.c_str()) == 0 ? 0 : errno;
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
