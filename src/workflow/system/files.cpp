#include "workflow/system/files.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/platform/read_failures.h"
#include "foundation/strings.h"
#include "workflow/system/part_name.h"
#include "workflow/system/path_characters.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

// Whoever knows that something has the path learns that the system could not always tell.
bool Told(const std::string& path, int result) {
  if (result != 0) QUIRVA::NoteReadFailure(path.c_str());
  return result == 0;
}

bool Status(const std::string& path, struct stat& status) {
  return Told(path, ::stat(path.c_str(), &status));
}

}  // namespace

std::string PrintablePath(const std::string& path) {
  std::string text;
  for (const wchar_t c : Wide(path)) {
    const std::string bytes = QUIRVA::PathBytesFromWide({&c, 1}).value_or(std::string(1, 0));
    if (IsControl(c)) {
      for (const char byte : bytes)
        text += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
    } else if (Misleads(c)) {
      text += fmt::format("\\u{{{:X}}}", static_cast<unsigned int>(c));
    } else {
      text += bytes;
    }
  }
  return text;
}

std::wstring Wide(const std::string& path) { return QUIRVA::WidePathFromBytes(path); }

// A link that leads nowhere is there, too: to write to its name would make a file elsewhere.
bool Exists(const std::string& path) {
  struct stat status;
  return Told(path, ::lstat(path.c_str(), &status));
}

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat first;
  struct stat second;
  return Status(a, first) && Status(b, second) && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

long long FileSize(const std::string& path) {
  struct stat status;
  return Status(path, status) && S_ISREG(status.st_mode) ? status.st_size : 0;
}

std::string ErrorText(const std::error_code& error) { return error.message(); }

Reason WhyUnreadable(const std::string& path) {
  struct stat status;
  if (!Status(path, status))
    return errno == ENOENT ? "there is no such file" : ErrorText(LastError());
  if (S_ISDIR(status.st_mode)) return "it is a folder";
  // It is not opened to find out: a pipe would keep whoever opens it waiting.
  if (!Told(path, ::access(path.c_str(), R_OK))) return ErrorText(LastError());
  if (!S_ISREG(status.st_mode)) return "it is no regular file";
  if (status.st_size == 0) return "it is empty";
  return std::nullopt;
}

Reason WhyUnwritable(const std::string& path) {
  if (path.empty()) return "it has no name";
  struct stat status;
  if (Status(path, status)) {
    if (S_ISDIR(status.st_mode)) return "it is a folder";
    if (::access(path.c_str(), W_OK) != 0) return ErrorText(LastError());
    return std::nullopt;
  }
  const std::string folder = FolderOf(path);
  if (!Status(folder, status)) return fmt::format("there is no folder {}", PrintablePath(folder));
  if (!S_ISDIR(status.st_mode)) return fmt::format("{} is no folder", PrintablePath(folder));
  if (::access(folder.c_str(), W_OK) != 0) return ErrorText(LastError());
  return std::nullopt;
}

std::string UnreadableWords(const std::string& path) {
  return WhyUnreadable(path).value_or("it has changed meanwhile");
}

}  // namespace clipchain
