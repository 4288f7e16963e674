#include "workflow/leftovers.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "workflow/system/descriptor.h"
#include "workflow/system/open_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/read_folder.h"
#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

// Opens what may be a leftover and takes its lock, which the one who works on the file holds. No
// descriptor, and the error in errno, if it is none.
Descriptor OpenAbandoned(const std::string& path, struct stat& status) {
  constexpr int kNeitherWaitsNorFollows = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY;
  Descriptor file(Uninterrupted([&] { return ::open(path.c_str(), kNeitherWaitsNorFollows); }));
  if (file >= 0 && ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
      Uninterrupted([&] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0)
    return file;
  return Descriptor();
}

}  // namespace

std::vector<Leftover> FindLeftovers(const std::string& output) {
  std::vector<Leftover> found;
  const std::string prefix = PartPrefix(output);
  const Descriptor folder = OpenToRead(FolderOf(output), O_DIRECTORY);
  // What can't be seen stays: nothing of a merge rests on it.
  [[maybe_unused]] const std::error_code untold = ReadFolder(folder, [&](const FolderEntry& entry) {
    if (!IsPartName(entry.name, prefix)) return true;
    struct stat status;
    const Leftover leftover{BesideOf(output, entry.name), 0};
    if (const Descriptor file(OpenAbandoned(leftover.path, status)); file >= 0)
      found.push_back({leftover.path, status.st_size});
    return true;
  });
  std::sort(found.begin(), found.end(),
            [](const Leftover& a, const Leftover& b) { return a.path < b.path; });
  return found;
}

std::error_code RemoveLeftover(const Leftover& leftover) {
  struct stat status;
  const Descriptor file(OpenAbandoned(leftover.path, status));
  if (file < 0) return LastError();
  return ErrorOf(::unlink(leftover.path.c_str()));
}

}  // namespace clipchain
