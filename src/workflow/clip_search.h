// Finds the clips that a person means by a list of files and folders.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/progress.h"

namespace clipchain {

// Clips that lie together: in a folder that was named, or as files that were named one after
// another. Paths are bytes, as the system has them.
struct Volume {
  // As it was named; empty for files.
  std::string folder;
  // Sorted by name in a folder, else as they were named.
  std::vector<std::string> clips;
};

struct UnreadablePath {
  std::string path;
  // The rest of a sentence that begins with the path.
  std::string reason;
};

struct FoundClips {
  // In the order of the operands.
  std::vector<Volume> volumes;
  std::vector<UnreadablePath> unreadable;
  // The progress ended the search: there may be more clips.
  bool stopped = false;
};

// A folder is a volume with all *.mp4, *.m4v and *.mov, in any case, that lie in it or in folders
// below. As with a pattern of the shell, names that begin with a dot are passed over: that is where
// systems keep what was deleted, and their notes on other files. Links to files are followed, links
// to folders inside are not. Any operand that is no folder is a clip, whatever its name. `except`
// is a folder that is passed over where it lies in another one; it need not exist. `progress` is
// told before each look at something in a folder.
CLIPCHAIN_API FoundClips FindClips(const std::vector<std::string>& operands,
                                   const std::string& except = "", const Progress& progress = {});

// Whether a file of that name is taken for a clip where folders are searched.
CLIPCHAIN_API bool HasClipName(const std::string& path);

}  // namespace clipchain
