#include "workflow/keeping/file_list.h"

#include <fcntl.h>

#include <algorithm>
#include <set>
#include <utility>

#include "workflow/system/descriptor.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"
#include "workflow/system/read_folder.h"
#include "workflow/system/same_time.h"
#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

const char* KindOf(mode_t mode) {
  if (S_ISLNK(mode)) return "is a link";
  if (S_ISFIFO(mode)) return "is a pipe";
  if (S_ISSOCK(mode)) return "is a socket";
  return "is a device";
}

class Walk {
 public:
  explicit Walk(const SearchProgress& goOn) : goOn_(goOn) {}

  FileList Run(const std::string& folder) {
    waiting_.push_back(folder);
    while (!waiting_.empty() && !stopped_) {
      const std::string next = std::move(waiting_.back());
      waiting_.pop_back();
      List(next, next == folder);
    }
    // Nobody may take what was found for all that there is.
    if (stopped_) list_.unreadable.push_back({folder, "was not searched to its end"});
    const auto byPath = [](const auto& a, const auto& b) { return a.path < b.path; };
    // File systems list in any order, and the same card must give the same answer.
    std::sort(list_.files.begin(), list_.files.end(), byPath);
    std::sort(list_.leftAside.begin(), list_.leftAside.end(), byPath);
    std::sort(list_.unreadable.begin(), list_.unreadable.end(), byPath);
    return std::move(list_);
  }

 private:
  void List(const std::string& path, bool first) {
    // The folder that was named may be a link. One beneath it that is a link now was none when it
    // was listed, and leads elsewhere.
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (first ? 0 : O_NOFOLLOW);
    Descriptor descriptor(Uninterrupted([&] { return ::open(path.c_str(), flags); }));
    if (descriptor < 0) return Fail(path, "can't be searched", LastError());
    struct stat status;
    if (::fstat(descriptor, &status) != 0) return Fail(path, "can't be searched", LastError());
    const FileIdentity identity{status.st_dev, status.st_ino};
    // A folder may be mounted inside of itself.
    if (!visited_.insert(identity).second) return;
    const std::string prefix = path.ends_with('/') ? path : path + '/';
    const std::error_code error = ReadFolder(descriptor, [&](const FolderEntry& entry) {
      stopped_ = goOn_ && !goOn_(list_.files.size());
      if (!stopped_) Note(descriptor, entry.name, prefix, identity);
      return !stopped_;
    });
    if (error) Fail(path, "can't be searched to its end", error);
  }

  void Note(int folder, const char* name, const std::string& prefix, const FileIdentity& identity) {
    struct stat status;
    // In the open folder: a path could lead elsewhere by now.
    if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      Fail(prefix + name, "can't be looked at", LastError());
    } else if (S_ISDIR(status.st_mode)) {
      waiting_.push_back(prefix + name);
    } else if (S_ISREG(status.st_mode)) {
      list_.files.push_back(
          {.path = prefix + name, .folder = identity, .stamp = FileStamp::Of(status)});
    } else {
      list_.leftAside.push_back({prefix + name, KindOf(status.st_mode)});
    }
  }

  void Fail(const std::string& path, const char* what, const std::error_code& error) {
    list_.unreadable.push_back({path, std::string(what) + ": " + ErrorText(error)});
  }

  const SearchProgress& goOn_;
  bool stopped_ = false;
  FileList list_;
  // Folders nest deeper than a stack is: they wait here in place of a recursion.
  std::vector<std::string> waiting_;
  std::set<FileIdentity> visited_;
};

}  // namespace

FileStamp FileStamp::Of(const struct stat& status) {
  return {{status.st_dev, status.st_ino}, status.st_size, status.st_mtim, status.st_ctim};
}

bool FileStamp::operator==(const FileStamp& other) const {
  return identity == other.identity && size == other.size && IsSameTime(modified, other.modified) &&
         IsSameTime(changed, other.changed);
}

FilePlace PlaceOf(const ListedFile& file) { return {file.folder, NameOf(file.path)}; }

FileList ListFiles(const std::string& folder, const SearchProgress& goOn) {
  return Walk(goOn).Run(folder);
}

}  // namespace clipchain
