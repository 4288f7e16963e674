// Which clips, one behind the other, could make the media of a merged file.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "workflow/boxes/top_level.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// The media of a clip as it would stand in a merged file.
struct ClipMedia {
  std::size_t clip;
  std::vector<Extent> ranges;  // of the clip's file, none empty
  unsigned long long size;     // of all together
  std::uint64_t head;          // hash of the first bytes
  std::uint64_t tail;          // hash of the last bytes
};

class MediaChains {
 public:
  // Adds one; nothing is done with a clip without media, or one that can't be read.
  void Add(std::size_t clip, FileBytes& file, const std::vector<Extent>& ranges);

  // Tells rows of clips whose media would fill the range, by what stands at the beginnings and ends
  // of theirs, until one of them is accepted. No more than a bounded number is tried. Whether one
  // was accepted.
  bool Find(FileBytes& merged, const Extent& range,
            const std::function<bool(const std::vector<std::size_t>& clips)>& accept);
  // The clips that the last search found at the beginning of a range that it could not fill.
  const std::vector<std::size_t>& Beginning() const { return beginning_; }

 private:
  // The media that could stand at a place, and how many of them were tried.
  struct Choice {
    std::vector<const ClipMedia*> media;
    std::size_t tried = 0;
  };

  Choice ChoiceAt(FileBytes& merged, unsigned long long at, unsigned long long end) const;

  std::vector<ClipMedia> media_;
  // By how many first bytes there are, and their hash.
  std::map<std::size_t, std::multimap<std::uint64_t, std::size_t>> byHead_;
  std::set<std::size_t> used_;
  std::vector<std::size_t> beginning_;
};

}  // namespace clipchain
