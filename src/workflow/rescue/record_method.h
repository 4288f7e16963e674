// Finds samples in media where a record stands in front of each one and says which track
// it is of and how long it is. The records are samples of a track of their own.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "workflow/rescue/harvest.h"
#include "workflow/rescue/media_window.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

class RecordMethod {
 public:
  // What the records of the reference have in common; nothing where it has
  // none, or where they contradict each other.
  static std::optional<RecordMethod> Learn(const Reference& reference);

  // Of the records.
  std::size_t track() const { return track_; }

  // Finds what lies in a range, which begins with a record. A sample counts if
  // a record stands behind it, or if the range truly ends with it.
  Harvest Walk(MediaWindow& window, std::size_t tracks, ByteRange range, bool ends,
               const std::function<bool(std::uint64_t)>& progress) const;

 private:
  // By the first bytes of a record.
  struct Kind {
    std::uint32_t recordSize = 0;
    // Of the sample behind it; none: another record follows.
    std::optional<std::size_t> track;
  };
  struct Head {
    const Kind* kind = nullptr;
    std::uint32_t sampleSize = 0;
    std::uint32_t duration = 0;
  };
  // A record of the reference, and the sample behind it.
  struct Pair {
    // The first bytes of it.
    std::vector<unsigned char> record;
    std::uint32_t recordSize = 0;
    std::optional<std::size_t> track;
    std::uint32_t sampleSize = 0;
    std::uint32_t duration = 0;
  };
  static std::vector<Pair> PairsOf(const Reference& reference, std::size_t track);

  Head HeadAt(MediaWindow& window, std::uint64_t position, std::uint64_t end) const;
  bool LearnKinds(const std::vector<Pair>& pairs);
  bool LearnSize(const std::vector<Pair>& pairs);
  void LearnDuration(const std::vector<Pair>& pairs);

  std::size_t track_ = 0;
  std::map<std::uint32_t, Kind> kinds_;
  // Place of the sample's size in the record.
  std::size_t sizeAt_ = 0;
  // And of its duration,.
  std::size_t durationAt_ = 0;
  // Which holds for these tracks.
  std::set<std::size_t> timedTracks_;
};

}  // namespace clipchain::rescue
