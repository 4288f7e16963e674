// Learns what stands between pictures in the reference: which tracks, in which order,
// how many samples.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "workflow/rescue/frame_methods.h"
#include "workflow/rescue/harvest.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

struct GapPattern {
  std::vector<std::size_t> tracks;
  // Samples of each, as they occur, each once.
  std::vector<std::vector<std::uint64_t>> counts;
  std::uint64_t times = 0;
  // Of the first track, the fewest and the most samples, without those of the last gap, which may
  // have ended early; 0 where there is no other.
  std::uint64_t least = 0;
  std::uint64_t most = 0;
  // What all these numbers are multiples of.
  std::uint64_t step = 0;
  // In front of the first picture.
  bool atBegin = false;
};

class GapPatterns {
 public:
  // `anchor` is the track whose samples can be told by themselves; none: all
  // media is one gap.
  void Learn(const Reference& reference, std::optional<std::size_t> anchor);

  const std::vector<GapPattern>& all() const { return patterns_; }
  std::uint64_t largest() const { return largest_; }
  // The numbers of samples that pieces of a track have, without that of the
  // last piece, which may be shorter.
  std::vector<std::uint64_t> CountsOf(std::size_t track) const;
  // The track that every gap begins with, or every first one; nothing where
  // they differ.
  std::optional<std::size_t> FirstTrack(bool atBegin) const;

 private:
  struct Gap {
    std::vector<std::size_t> tracks;
    std::vector<std::uint64_t> counts;
    std::uint64_t bytes = 0;
    bool atBegin = false;
  };
  GapPattern* TakeGap(const Gap& gap);

  std::vector<GapPattern> patterns_;
  // By track.
  std::vector<std::vector<std::uint64_t>> counts_;
  std::uint64_t largest_ = 0;
};

// By track; null without one.
using FrameMethods = std::vector<std::unique_ptr<FrameMethod>>;

struct GapPiece {
  std::size_t track = 0;
  std::uint64_t position = 0;
  SampleSpan span;
};

enum class GapPlace {
  // Between two pictures.
  kInside,
  // Between a picture and the true end of the media.
  kEnd,
  // Between its begin and that.
  kAll,
  // In front of the first picture.
  kBegin,
  // The same where the media may begin.
  kDoubtfulBegin,
};

// The pieces that fill a gap exactly, by one of the patterns; nothing if none
// does, or if two do that nothing tells apart.
std::optional<std::vector<GapPiece>> SolveGap(const GapPatterns& patterns,
                                              const FrameMethods& methods, MediaWindow& window,
                                              ByteRange gap, GapPlace place);

}  // namespace clipchain::rescue
