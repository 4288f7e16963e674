// Writes a movie box as the engine can take it, and the engine's result as the first clip had it.
#pragma once

#include <optional>
#include <vector>

#include "adapt/fit_clip.h"
#include "adapt/raw_boxes.h"

namespace clipchain {

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

// What of a movie the engine reads: headers, tables, the boxes that it keeps as they are, and in
// place of each sample entry one that stands for it, of the same type where the engine's class for
// that type allows it. Tracks have the identifiers and stand-in entries of `first`, track by track,
// so that the engine takes those at the same place for partners. Chunk offsets are those of the
// view; what lies outside of the media begins at 0 there. Without `media` they stay as they are.
RawBox EngineMovie(const RawBox& movie, const RawBox& first, const MediaMap* media);

// The tables, durations and camera's identifiers of the engine's result put into the first clip's
// movie box. Nothing: they do not belong together.
std::optional<RawBox> MergedMovie(const RawBox& first, RawBox engines);

// The entries of "stsd"; nothing if they are not as many as it says, or are no boxes.
std::optional<std::vector<RawBox>> SampleEntriesOf(const RawBox& stsd);

}  // namespace clipchain
