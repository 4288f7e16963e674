#include "workflow/rescue/reference_search.h"

#include <algorithm>

#include "workflow/clip_search.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain::rescue {

std::vector<std::string> ClipsBeside(const std::string& broken) {
  const std::string folder = FolderOf(broken);
  const std::string name = NameOf(broken);
  std::vector<std::string> before;
  std::vector<std::string> behind;
  for (const Volume& volume : FindClips({folder}).volumes) {
    for (const std::string& clip : volume.clips) {
      // Those in folders below belong to something else.
      if (FolderOf(clip) != folder || IsSameFile(clip, broken)) continue;
      (NameOf(clip) < name ? before : behind).push_back(clip);
    }
  }
  std::sort(before.begin(), before.end(), std::greater<>());
  std::sort(behind.begin(), behind.end());
  before.insert(before.end(), behind.begin(), behind.end());
  return before;
}

}  // namespace clipchain::rescue
