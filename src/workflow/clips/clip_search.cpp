#include "workflow/clip_search.h"

#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "workflow/system/files.h"
#include "workflow/system/open_file.h"
#include "workflow/system/read_folder.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

namespace fs = std::filesystem;

class FolderSearch {
 public:
  FolderSearch(FoundClips& found, Volume& volume, const std::string& except,
               const Progress& progress)
      : found_(found), volume_(volume), except_(except), progress_(progress) {
    for (const Volume& other : found.volumes) before_ += other.clips.size();
  }

  void Search(const fs::path& folder) {
    for (const Entry& entry : SortedEntries(folder)) {
      if (!GoesOn()) return;
      const fs::path path = folder / entry.name;
      std::error_code error;
      // A linked folder may be one that is searched already, or holds this one.
      const fs::file_type kind = KindOf(path, entry, error);
      if (error) {
        // It may be a folder with clips in it.
        TellUnreadable(path, error);
      } else if (kind == fs::file_type::directory) {
        if (!fs::equivalent(path, except_, error)) Search(path);
      } else if (HasClipName(entry.name) && IsFile(path, kind)) {
        volume_.clips.push_back(path.string());
      }
    }
  }

 private:
  struct Entry {
    std::string name;
    // Of <dirent.h>.
    unsigned char kind;
  };

  std::vector<Entry> SortedEntries(const fs::path& folder) {
    std::vector<Entry> entries;
    const Descriptor descriptor = OpenToRead(folder.string(), O_DIRECTORY);
    const std::error_code error = descriptor < 0 ? LastError() : List(descriptor, entries);
    if (error) TellUnreadable(folder, error);
    // File systems list in any order, and the same card must give the same answer.
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
  }

  std::error_code List(int folder, std::vector<Entry>& entries) {
    return ReadFolder(folder, [&](const FolderEntry& entry) {
      if (!GoesOn()) return false;
      // Some systems leave a hidden file beside each clip that bears its name and is none.
      if (*entry.name != '.') entries.push_back({entry.name, entry.kind});
      return true;
    });
  }

  // Not of what a link leads to. To ask for each name takes long on a share: most file systems tell
  // it with the names.
  static fs::file_type KindOf(const fs::path& path, const Entry& entry, std::error_code& error) {
    switch (entry.kind) {
      case DT_REG:
        return fs::file_type::regular;
      case DT_DIR:
        return fs::file_type::directory;
      default:
        return fs::symlink_status(path, error).type();
    }
  }

  void TellUnreadable(const fs::path& path, const std::error_code& error) {
    found_.unreadable.push_back({path.string(), "can't be searched: " + ErrorText(error)});
  }

  // A share may take its time for each entry.
  bool GoesOn() {
    Step step;
    step.phase = Step::Phase::kSearching;
    step.clip = before_ + volume_.clips.size();
    if (!found_.stopped && progress_) found_.stopped = !progress_(step);
    return !found_.stopped;
  }

  // Links that lead nowhere count, so that somebody hears of them; pipes and devices do not.
  static bool IsFile(const fs::path& path, fs::file_type kind) {
    if (kind == fs::file_type::regular) return true;
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    return fs::is_regular_file(status) || !fs::exists(status);
  }

  FoundClips& found_;
  Volume& volume_;
  const fs::path except_;
  const Progress& progress_;
  // Clips of other volumes.
  std::size_t before_ = 0;
};

}  // namespace

bool HasClipName(const std::string& path) {
  static constexpr const char* kExtensions[] = {".mp4", ".m4v", ".mov"};
  std::string extension = fs::path(path).extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return std::find(std::begin(kExtensions), std::end(kExtensions), extension) !=
         std::end(kExtensions);
}

FoundClips FindClips(const std::vector<std::string>& operands, const std::string& except,
                     const Progress& progress) {
  FoundClips found;
  bool collectsFiles = false;
  for (const std::string& operand : operands) {
    if (found.stopped) break;
    std::error_code ignored;
    const fs::file_status status = fs::status(operand, ignored);
    if (fs::is_directory(status)) {
      collectsFiles = false;
      Volume& volume = found.volumes.emplace_back(Volume{operand, {}});
      FolderSearch(found, volume, except, progress).Search(operand);
      continue;
    }
    // A pipe or a device would keep whoever opens it waiting.
    if (fs::exists(status) && !fs::is_regular_file(status)) {
      found.unreadable.push_back({operand, "is no regular file"});
      continue;
    }
    if (!collectsFiles) found.volumes.emplace_back();
    collectsFiles = true;
    found.volumes.back().clips.push_back(operand);
  }
  return found;
}

}  // namespace clipchain
