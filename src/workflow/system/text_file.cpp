#include "workflow/system/text_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "workflow/system/files.h"
#include "workflow/system/part_file.h"
#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

namespace {

std::string Unwritable(const std::error_code& error) {
  return "can't be written: " + ErrorText(error);
}

constexpr const char* kExists = "exists already; --overwrite replaces it";

}  // namespace

std::error_code WriteText(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t went = Uninterrupted([&] { return ::write(file, text.data(), text.size()); });
    if (went < 0) return LastError();
    if (went == 0) return SystemError(EIO);
    text.remove_prefix(static_cast<std::size_t>(went));
  }
  return {};
}

Reason WhyNoTextFile(const std::string& path, bool overwrite) {
  struct stat status;
  if (::lstat(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return "is a folder";
    // A link would be replaced, and a device be lost.
    if (!S_ISREG(status.st_mode)) return "exists already and is no regular file";
    if (!overwrite) return kExists;
  }
  if (const Reason why = WhyUnwritable(path)) return "can't be written: " + *why;
  return std::nullopt;
}

Reason WriteTextFile(const std::string& path, std::string_view text, bool overwrite) {
  if (Reason why = WhyNoTextFile(path, overwrite)) return why;
  PartFile part;
  std::error_code error = part.Create(path);
  if (!error) error = WriteText(part.descriptor(), text);
  if (!error) error = Flush(part.descriptor());
  if (error) return Unwritable(error);
  error = part.Publish(overwrite);
  // Somebody was faster; what they wrote stays.
  if (error == std::errc::file_exists) return kExists;
  if (!error) error = part.FlushFolder();
  if (error) return Unwritable(error);
  return std::nullopt;
}

}  // namespace clipchain
