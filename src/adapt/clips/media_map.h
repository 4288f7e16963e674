// Says where the media of a clip lies once it stands in a row.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace clipchain {

// A stretch of a file that holds media.
struct MediaRange {
  std::uint64_t position;
  std::uint64_t size;
};

// Where the media of a clip lies in its view: in a row, from one place on. With a `block`, a power
// of two, each range that is much longer is moved by a multiple of it against the first, which
// leaves gaps.
class MediaMap {
 public:
  MediaMap(const std::vector<MediaRange>& media, std::uint64_t start, unsigned int block = 0);

  // Ahead of each range, in the order in which they were given.
  const std::vector<std::uint64_t>& Gaps() const { return gaps_; }

  // The place in the view of what begins there in the file; nothing outside of the media. What
  // begins where a range ends is not inside.
  std::optional<std::uint64_t> At(std::uint64_t position) const;
  // How much media follows that place without a gap; 0 outside.
  std::uint64_t Behind(std::uint64_t position) const;
  // Of all media, with the gaps.
  std::uint64_t Size() const { return size_; }

 private:
  struct Part {
    MediaRange range;
    std::uint64_t target;
  };

  const Part* PartAt(std::uint64_t position) const;

  // By position in the file.
  std::vector<Part> parts_;
  std::vector<std::uint64_t> gaps_;
  std::uint64_t size_ = 0;
};

}  // namespace clipchain
