// Tells of which recording a clip that can't be read may be the end: what a dying battery leaves.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "workflow/sequence_scan.h"

namespace clipchain {

class MissingEnds {
 public:
  // Takes time in proportion to the recordings and the clips that were rejected.
  explicit MissingEnds(const ScanReport& scan);

  // Finds the index of the recording whose last clip says that another one follows, lies in the
  // folder of the broken one, and has the name in front of it. Where no name is the one in front,
  // the only such recording of the folder, if the broken clip is the only one there that can't be
  // read.
  std::optional<std::size_t> Of(const std::string& broken) const;

 private:
  struct Folder {
    // Recordings that end there, and are continued.
    std::size_t open = 0;
    // Index of one of them.
    std::size_t last = 0;
    // Clips that can't be read.
    std::size_t broken = 0;
  };

  std::map<std::string, Folder> folders_;
  // Recordings by folder and name, without its suffix, of the clip that would follow.
  std::map<std::pair<std::string, std::string>, std::size_t> byNext_;
};

}  // namespace clipchain
