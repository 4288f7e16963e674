#include "workflow/folders.h"

#include <sys/stat.h>

#include <cerrno>

#include "workflow/system/files.h"

namespace clipchain {

std::optional<Finding> MakeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) == 0) return std::nullopt;
  const int error = errno;
  struct stat status;
  if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return std::nullopt;
  if (error == EEXIST)
    return MakeFinding(Message::kFolderUnusable, path, "is no folder", "choose another name");
  const char* remedy = "choose another folder";
  if (error == ENOENT) remedy = "create the folder that it lies in first";
  if (error == ENAMETOOLONG) remedy = "choose a shorter name";
  return MakeFinding(Message::kFolderUnusable, path, "can't be created: " + ErrorText(error),
                     remedy);
}

}  // namespace clipchain
