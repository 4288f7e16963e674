#include "workflow/clip_search.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "workflow/system/files.h"

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
    for (const fs::directory_entry& entry : SortedEntries(folder)) {
      if (!GoesOn()) return;
      std::error_code error;
      // A linked folder may be one that is searched already, or holds this one.
      const bool isFolder = !entry.is_symlink(error) && !error && entry.is_directory(error);
      if (error) {
        // It may be a folder with clips in it.
        TellUnreadable(entry.path(), error);
      } else if (isFolder) {
        if (!fs::equivalent(entry.path(), except_, error)) Search(entry.path());
      } else if (HasClipName(entry.path().string()) && IsFile(entry)) {
        volume_.clips.push_back(entry.path().string());
      }
    }
  }

 private:
  std::vector<fs::directory_entry> SortedEntries(const fs::path& folder) {
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end && GoesOn();
         entry.increment(error)) {
      // Some systems leave a hidden file beside each clip that bears its name and is none.
      if (entry->path().filename().native().front() != '.') entries.push_back(*entry);
    }
    // One that goes away meanwhile ends like one that was listed to its end.
    if (!error) static_cast<void>(fs::status(folder, error));
    if (error) TellUnreadable(folder, error);
    // File systems list in any order, and the same card must give the same answer.
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
      return a.path().filename().native() < b.path().filename().native();
    });
    return entries;
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
  static bool IsFile(const fs::directory_entry& entry) {
    std::error_code ignored;
    const fs::file_status status = entry.status(ignored);
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
