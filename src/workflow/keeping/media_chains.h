// Finds the clips that, one behind the other, could make the media of a merged file.
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
  // Of the clip's file, none empty.
  std::vector<Extent> ranges;
  // Hash of the first bytes.
  std::uint64_t head;
  // Hash of the last bytes.
  std::uint64_t tail;
};

class MediaChains {
 public:
  using Accept = std::function<bool(const std::vector<std::size_t>& clips)>;
  // Whether a clip is likely to be the one at that place of a row.
  using Likely = std::function<bool(std::size_t clip, std::size_t place)>;

  // Adds one; nothing is done with a clip without media, or one that can't be read.
  void Add(std::size_t clip, FileBytes& file, const std::vector<Extent>& ranges);

  // Tells rows of clips whose media would fill the media box as its layout has it, by what stands
  // at the beginnings and ends of theirs, until one of them is accepted. No more than a bounded
  // number is tried, those of likely clips first. Whether one was accepted.
  bool Find(FileBytes& merged, const TopLevel& boxes, const Accept& accept,
            const Likely& likely = {});
  // The clips that the last search found at the beginning of a box that it could not fill.
  const std::vector<std::size_t>& Beginning() const { return beginning_; }

 private:
  // Media that could stand behind a place, and the end of it.
  struct Offer {
    const ClipMedia* media;
    unsigned long long end;
  };
  // What could stand behind a place, and how many of them were tried.
  struct Choice {
    unsigned long long at;
    std::vector<Offer> offers;
    std::size_t tried = 0;
  };
  // How many first bytes there are, and where they lie modulo the block of a layout.
  using Beginnings = std::map<std::pair<std::size_t, unsigned long long>,
                              std::multimap<std::uint64_t, std::size_t>>;

  Choice ChoiceAt(FileBytes& merged, unsigned long long at, const Likely& likely) const;
  unsigned long long EndOf(const ClipMedia& media, unsigned long long begin) const;

  std::vector<ClipMedia> media_;
  // Of the file that is searched, and where its media ends.
  unsigned int block_ = 0;
  unsigned long long end_ = 0;
  // By their hash.
  Beginnings byHead_;
  std::set<std::size_t> used_;
  std::vector<std::size_t> beginning_;
};

}  // namespace clipchain
