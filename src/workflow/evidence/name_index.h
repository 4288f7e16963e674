// Finds the clips that others lead to by their names.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workflow/evidence/family.h"

namespace clipchain {

// By folder and name, be it that of a copy.
class NameIndex {
 public:
  explicit NameIndex(const std::vector<FamilyClip>& clips);

  // Clips with a number that is higher by `step`, in the folder of the clip and in those that a
  // camera would make behind it.
  std::vector<NextClip> Behind(const FamilyClip& clip, unsigned int step) const;

 private:
  void Add(std::size_t clip, const std::string& folder, const std::string& name);
  void Behind(const std::string& folder, const std::string& name, unsigned int step,
              std::vector<NextClip>& found) const;

  std::unordered_map<std::string, std::size_t> clips_;
  // Folders that a camera numbered, by the folder above them and their number.
  std::map<std::pair<std::string, unsigned int>, std::set<std::string>> folders_;
};

}  // namespace clipchain
