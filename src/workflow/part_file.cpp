#include "workflow/part_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "foundation/result.h"
#include "workflow/uninterrupted.h"

namespace clipchain {

namespace {

constexpr std::string_view kMark = ".clipchain-";
constexpr std::string_view kEnd = ".part";
constexpr std::size_t kRandomDigits = 16;
// The dot in front, the mark, a process identifier, a hyphen, the random digits and the end.
constexpr std::size_t kMostAroundName = 1 + kMark.size() + 20 + 1 + kRandomDigits + kEnd.size();
constexpr long kUsualNameLimit = 255;

// A descriptor that is closed at the end of its block. Nothing is written through it.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  operator int() const { return number_; }

 private:
  int number_;
};

int Open(const std::string& path, int flags) {
  constexpr mode_t kEveryoneAsTheMaskAllows = 0666;
  return Uninterrupted([&] {
    return ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY,
                  kEveryoneAsTheMaskAllows);
  });
}

// Only has to differ from the names of other runs: that nobody has the name, creating the file
// tells.
std::uint64_t Random() {
  auto number =
      static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  [[maybe_unused]] const ssize_t unneeded = ::getrandom(&number, sizeof number, GRND_NONBLOCK);
  return number;
}

// A name is cut between characters, not within one.
std::string_view Cut(std::string_view name, std::size_t length) {
  if (name.size() <= length) return name;
  const auto continues = [&] { return (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80; };
  const std::size_t least = length - std::min<std::size_t>(length, 3);
  while (length > least && continues()) --length;
  return name.substr(0, length);
}

// What the names of all hidden files of this output begin with.
std::string PartPrefix(const std::string& output) {
  const long limit = ::pathconf(FolderOf(output).c_str(), _PC_NAME_MAX);
  const auto most = static_cast<std::size_t>(limit > 0 ? limit : kUsualNameLimit);
  const std::string name = NameOf(output);
  return fmt::format(".{}{}", Cut(name, most - std::min(most, kMostAroundName)), kMark);
}

bool IsPart(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix) || !name.ends_with(kEnd)) return false;
  name.remove_prefix(prefix.size());
  if (name.size() <= kEnd.size() + kRandomDigits + 1) return false;
  name.remove_suffix(kEnd.size());
  const std::string_view process = name.substr(0, name.size() - kRandomDigits - 1);
  const std::string_view random = name.substr(process.size() + 1);
  return name[process.size()] == '-' &&
         process.find_first_not_of("0123456789") == std::string_view::npos &&
         random.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string InFolderOf(const std::string& path, const std::string& name) {
  return path.substr(0, path.size() - NameOf(path).size()) + name;
}

// Where a file system has no locks nobody can have one.
bool HasNoLocks(int error) { return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS; }

// Opens what may be a leftover and takes its lock, which the one who works on the file holds.
int OpenAbandoned(const std::string& path, struct stat& status) {
  const int file = Open(path, O_RDONLY | O_NONBLOCK);
  if (file < 0) return file;
  if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
      Uninterrupted([file] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0)
    return file;
  ::close(file);
  return -1;
}

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

}  // namespace

std::string NameOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

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
  const std::string path = InFolderOf(
      output_, fmt::format("{}{}-{:016x}{}", PartPrefix(output_), ::getpid(), Random(), kEnd));
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

int PartFile::Publish(bool overwrite) {
  if (overwrite) {
    if (::rename(path_.c_str(), output_.c_str()) != 0) return errno;
    path_.clear();
    return 0;
  }
  return RenameToFreeName();
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

std::vector<Leftover> FindLeftovers(const std::string& output) {
  std::vector<Leftover> found;
  const std::string prefix = PartPrefix(output);
  const std::unique_ptr<DIR, CloseFolder> folder(::opendir(FolderOf(output).c_str()));
  if (folder == nullptr) return found;
  while (const dirent* entry = ::readdir(folder.get())) {
    if (!IsPart(entry->d_name, prefix)) continue;
    struct stat status;
    const Leftover leftover{InFolderOf(output, entry->d_name), 0};
    if (const Descriptor file(OpenAbandoned(leftover.path, status)); file >= 0)
      found.push_back({leftover.path, status.st_size});
  }
  std::sort(found.begin(), found.end(),
            [](const Leftover& a, const Leftover& b) { return a.path < b.path; });
  return found;
}

int RemoveLeftover(const Leftover& leftover) {
  struct stat status;
  const Descriptor file(OpenAbandoned(leftover.path, status));
  if (file < 0) return errno;
  return ::unlink(leftover.path.c_str()) == 0 ? 0 : errno;
}

}  // namespace clipchain
