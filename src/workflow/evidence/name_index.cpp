#include "workflow/evidence/name_index.h"

#include <filesystem>

#include "workflow/evidence/clip_names.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

NameIndex::NameIndex(const std::vector<FamilyClip>& clips) {
  for (std::size_t i = 0; i < clips.size(); ++i) {
    Add(i, clips[i].folder, clips[i].name);
    for (const auto& [folder, name] : clips[i].copies) Add(i, folder, name);
  }
}

void NameIndex::Add(std::size_t clip, const std::string& folder, const std::string& name) {
  clips_.try_emplace(folder + '/' + name, clip);
  const std::filesystem::path path(folder);
  if (const unsigned int number = FolderNumber(NameOf(folder)); number != 0)
    folders_[{path.parent_path().string(), number}].insert(folder);
}

std::vector<NextClip> NameIndex::Behind(const FamilyClip& clip, unsigned int step) const {
  std::vector<NextClip> found;
  Behind(clip.folder, clip.name, step, found);
  for (const auto& [folder, name] : clip.copies) Behind(folder, name, step, found);
  return found;
}

void NameIndex::Behind(const std::string& folder, const std::string& name, unsigned int step,
                       std::vector<NextClip>& found) const {
  const std::vector<NextName> names = NamesBehind(name, step);
  const auto look = [&](const std::string& place) {
    for (const NextName& next : names) {
      const auto clip = clips_.find(place + '/' + next.name);
      if (clip != clips_.end()) found.push_back({clip->second, next.isChapter});
    }
  };
  look(folder);
  const unsigned int number = FolderNumber(NameOf(folder));
  const auto next =
      folders_.find({std::filesystem::path(folder).parent_path().string(), number + 1});
  // A camera makes one of them.
  constexpr std::size_t kMostFolders = 16;
  if (number == 0 || next == folders_.end() || next->second.size() > kMostFolders) return;
  for (const std::string& other : next->second) look(other);
}

}  // namespace clipchain
