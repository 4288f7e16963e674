#include "workflow/folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "workflow/system/descriptor.h"
#include "workflow/system/files.h"
#include "workflow/system/flush_folders.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

std::error_code Make(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) != 0) {
    const std::error_code error = LastError();
    struct stat status;
    // Whatever the error was: on a disk that can't be written a folder that is there is not said to
    // exist.
    const bool isThere = ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    return isThere ? std::error_code() : error;
  }
  // What is merged into it would be gone with it after a loss of power.
  const Descriptor folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  FlushedFolders flushed;
  const std::error_code error = folder < 0 ? LastError() : FlushAbove(folder, flushed);
  // A folder that may be lost is none to put results into.
  if (error) ::rmdir(path.c_str());
  return error;
}

}  // namespace

std::optional<Finding> MakeFolder(const std::string& path) {
  const std::error_code error = Make(path);
  if (!error) return std::nullopt;
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
