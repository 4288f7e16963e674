// Lists all that lies below folders, as it is at that time.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "workflow/clips/clip_file.h"

namespace clipchain {

// By what a file is known, and by what it is seen to have changed.
struct FileStamp {
  FileIdentity identity{};
  long long size = 0;
  timespec modified{};
  // By a new name, mode or link, too.
  timespec changed{};

  static FileStamp Of(const struct stat& status);
  bool operator==(const FileStamp& other) const;
};

struct ListedFile {
  // Below the folder as it was named.
  std::string path;
  // That it lies in.
  FileIdentity folder{};
  FileStamp stamp{};
};

// A folder and a name in it, by which a file is known again that was reached in two ways.
using FilePlace = std::pair<FileIdentity, std::string>;
FilePlace PlaceOf(const ListedFile& file);

struct ListedPath {
  std::string path;
  // The rest of a sentence that begins with the path.
  std::string reason;
};

// How many files were found; false ends the search. May be empty.
using SearchProgress = std::function<bool(std::size_t files)>;

struct FileList {
  // Regular ones, whatever their names; by path.
  std::vector<ListedFile> files;
  // Links, pipes, devices: what is no file of its own.
  std::vector<ListedPath> leftAside;
  // What could not be looked at, folders above all.
  std::vector<ListedPath> unreadable;
};

// Walks through the folder and all below it, hidden ones and other file systems mounted there too;
// links are not followed, but for the folder itself. A folder that is reached twice is listed once.
// `goOn` is told before each entry how many files there are so far; false ends the walk, and the
// folder is then among what is unreadable.
FileList ListFiles(const std::string& folder, const SearchProgress& goOn = {});

}  // namespace clipchain
