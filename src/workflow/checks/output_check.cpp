#include "workflow/checks/output_check.h"

#include <fmt/format.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <system_error>

#include "workflow/clips/clip_file.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

constexpr long long kMost = std::numeric_limits<long long>::max();

Reason WhyNoFileFits(const std::string& folder) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0)
    return errno == ENOENT ? fmt::format("there is no folder {}", PrintablePath(folder))
                           : ErrorText(LastError());
  if (!S_ISDIR(status.st_mode)) return fmt::format("{} is no folder", PrintablePath(folder));
  if (::access(folder.c_str(), W_OK | X_OK) != 0)
    return fmt::format("the folder {} can't be written: {}", PrintablePath(folder),
                       ErrorText(LastError()));
  // It is opened to flush what was put into it.
  if (::access(folder.c_str(), R_OK) == 0) return std::nullopt;
  return fmt::format("the folder {} can't be read, and so not flushed to the disk: {}",
                     PrintablePath(folder), ErrorText(LastError()));
}

// Whether it is one by which a process reaches what it has open, such as /dev/stdout: the system's,
// and nobody's to remove.
bool LeadsToDescriptors(const std::filesystem::path& link, const std::filesystem::path& target) {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::weakly_canonical(
      std::filesystem::absolute(link, error).parent_path(), error);
  return target.string().starts_with("/proc/") || folder.string().starts_with("/proc/");
}

OutputFault FaultOfLink(const std::string& output) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::read_symlink(output, error);
  if (LeadsToDescriptors(output, target))
    return {"it is a link to what a process has open",
            "name a file; \"clipchain merge -o -\" writes to standard output"};
  const std::filesystem::path folder = FolderOf(output);
  const std::filesystem::path end = std::filesystem::weakly_canonical(folder / target, error);
  struct stat status;
  const bool leadsToFile = ::stat(output.c_str(), &status) != 0 || S_ISREG(status.st_mode);
  return {fmt::format("it is a link to {}", PrintablePath(target.string())),
          leadsToFile && !error
              ? fmt::format("name {} itself, or remove the link", PrintablePath(end.string()))
              : "name a file"};
}

// In a folder with the sticky bit only the owners of a file and of the folder may replace it, and
// whoever may do anything.
bool IsGuarded(const std::string& output, const struct stat& status) {
  struct stat folder;
  const uid_t user = ::geteuid();
  return ::stat(FolderOf(output).c_str(), &folder) == 0 && (folder.st_mode & S_ISVTX) != 0 &&
         user != 0 && user != status.st_uid && user != folder.st_uid;
}

long long FreeBytes(const std::string& folder) {
  struct statvfs space;
  // Some network file systems tell no figures at all.
  if (::statvfs(folder.c_str(), &space) != 0 || space.f_blocks == 0) return -1;
  const auto block = static_cast<unsigned long long>(space.f_frsize);
  const auto blocks = static_cast<unsigned long long>(space.f_bavail);
  if (block != 0 && blocks > static_cast<unsigned long long>(kMost) / block) return kMost;
  return static_cast<long long>(block * blocks);
}

long long LargestFileIn(const std::string& folder) {
  struct statfs system;
  long long most = ::statfs(folder.c_str(), &system) == 0 ? LargestFileOn(system.f_type) : -1;
  struct rlimit limit;
  if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      limit.rlim_cur < static_cast<rlim_t>(kMost)) {
    const auto allowed = static_cast<long long>(limit.rlim_cur);
    most = most < 0 ? allowed : std::min(most, allowed);
  }
  return most;
}

}  // namespace

// What pathconf() says of a file system it does not know is a guess, and a wrong one for most: 32
// bits for tmpfs, overlayfs, exFAT and network file systems. The field for a size in a directory
// entry of FAT has 32 bits.
long long LargestFileOn(long fileSystem) {
  constexpr long long kMostOnFat = std::numeric_limits<std::uint32_t>::max();
  return fileSystem == MSDOS_SUPER_MAGIC ? kMostOnFat : -1;
}

OutputPlace PlaceOf(const std::string& output) {
  OutputPlace place;
  place.folder = FolderOf(output);
  place.whyUnwritable = WhyNoFileFits(place.folder);
  if (place.whyUnwritable) return place;
  place.freeBytes = FreeBytes(place.folder);
  place.largestFile = LargestFileIn(place.folder);
  return place;
}

std::optional<OutputFault> WhyIrreplaceable(const std::string& output) {
  struct stat status;
  if (::lstat(output.c_str(), &status) != 0) return std::nullopt;
  if (S_ISLNK(status.st_mode)) return FaultOfLink(output);
  if (S_ISDIR(status.st_mode))
    return OutputFault{"it is a folder", fmt::format("name a file in it, such as {}/merged.mp4",
                                                     PrintablePath(output))};
  if (!S_ISREG(status.st_mode))
    return OutputFault{S_ISFIFO(status.st_mode)   ? "it is a pipe"
                       : S_ISSOCK(status.st_mode) ? "it is a socket"
                                                  : "it is a device",
                       "name a file"};
  if (!IsGuarded(output, status)) return std::nullopt;
  return OutputFault{
      "it belongs to another user, whose files nobody else may replace in that folder",
      "choose another name for the output, or another folder"};
}

void CheckOutput(const std::string& output, bool overwrite, const std::vector<std::string>& inputs,
                 const OutputPlace& place, FileFindings& findings) {
  const auto same = std::find_if(inputs.begin(), inputs.end(), [&output](const std::string& input) {
    return IsSameFile(output, input);
  });
  const std::optional<OutputFault> fault = WhyIrreplaceable(output);
  if (same != inputs.end()) {
    findings
        .Add(Message::kOutputIsInput, "is the same file as the input " + PrintablePath(*same),
             "choose another name for the output")
        .result = MP4G_E_OUTPUT_OPEN;
  } else if (fault) {
    findings.Add(Message::kOutputUnwritable, "can't be written: " + fault->text, fault->remedy)
        .result = MP4G_E_OUTPUT_OPEN;
  } else if (!overwrite && Exists(output)) {
    findings
        .Add(Message::kOutputExists, "exists already",
             "choose another name, or replace it with --overwrite")
        .result = MP4G_E_OUTPUT_OPEN;
  }
  // What has the name can't make way for a file, whatever the folder is like.
  if (!place.whyUnwritable || fault) return;
  findings
      .Add(Message::kOutputUnwritable, "can't be written: " + *place.whyUnwritable,
           "choose a folder that you may write to")
      .result = MP4G_E_OUTPUT_OPEN;
}

void CheckSpace(long long bytes, const OutputPlace& place, FileFindings& findings) {
  if (place.freeBytes >= 0 && bytes > place.freeBytes) {
    findings
        .Add(Message::kTooLittleSpace,
             fmt::format("would take {} bytes, and {} are free in {}", bytes, place.freeBytes,
                         PrintablePath(place.folder)),
             fmt::format("make room for {} bytes more, or choose another disk",
                         bytes - place.freeBytes))
        .result = MP4G_E_OUTPUT_WRITE;
  }
  if (place.largestFile >= 0 && bytes > place.largestFile) {
    findings
        .Add(Message::kTooLargeForFolder,
             fmt::format("would take {} bytes, and a file in {} may have {}", bytes,
                         PrintablePath(place.folder), place.largestFile),
             "choose a disk with another file system, or a higher limit for files")
        .result = MP4G_E_OUTPUT_WRITE;
  }
}

}  // namespace clipchain
