#include "workflow/folders.h"

#include <sys/stat.h>

#include "workflow/system/files.h"
#include "workflow/system/system_error.h"

namespace clipchain {

std::optional<Finding> MakeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) == 0) return std::nullopt;
  const std::error_code error = LastError();
  struct stat status;
  // Whatever the error was: on a disk that can't be written a folder that is there is not said to
  // exist.
  if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return std::nullopt;
  if (error == std::errc::file_exists)
    return MakeFinding(Message::kFolderUnusable, path, "is no folder", "choose another name");
  const char* remedy = "choose another folder";
  if (error == std::errc::no_such_file_or_directory)
    remedy = "create the folder that it lies in first";
  if (error == std::errc::filename_too_long) remedy = "choose a shorter name";
  return MakeFinding(Message::kFolderUnusable, path, "can't be created: " + ErrorText(error),
                     remedy);
}

}  // namespace clipchain
