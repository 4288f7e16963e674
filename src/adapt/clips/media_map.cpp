#include "adapt/clips/media_map.h"

#include <algorithm>

namespace clipchain {

MediaMap::MediaMap(const std::vector<MediaRange>& media, std::uint64_t start, unsigned int block) {
  // An empty media box in front would have bytes of no file behind it, and with those all media
  // began.
  const auto first = std::find_if(media.begin(), media.end(),
                                  [](const MediaRange& range) { return range.size != 0; });
  for (const MediaRange& range : media) {
    // Modulo the block the first range is as far from this one as it is in the file. A gap is no
    // longer than a quarter of what it is for.
    const bool hasGap = block != 0 && range.size / 4 >= block;
    gaps_.push_back(hasGap ? (range.position - first->position - size_) % block : 0);
    size_ += gaps_.back();
    parts_.push_back({range, start + size_});
    size_ += range.size;
  }
  std::sort(parts_.begin(), parts_.end(),
            [](const Part& a, const Part& b) { return a.range.position < b.range.position; });
}

const MediaMap::Part* MediaMap::PartAt(std::uint64_t position) const {
  const auto behind =
      std::upper_bound(parts_.begin(), parts_.end(), position,
                       [](std::uint64_t at, const Part& part) { return at < part.range.position; });
  if (behind == parts_.begin()) return nullptr;
  const Part& part = *(behind - 1);
  return position - part.range.position < part.range.size ? &part : nullptr;
}

std::optional<std::uint64_t> MediaMap::At(std::uint64_t position) const {
  const Part* part = PartAt(position);
  if (part == nullptr) return std::nullopt;
  return part->target + (position - part->range.position);
}

std::uint64_t MediaMap::Behind(std::uint64_t position) const {
  const Part* part = PartAt(position);
  return part != nullptr ? part->range.size - (position - part->range.position) : 0;
}

}  // namespace clipchain
