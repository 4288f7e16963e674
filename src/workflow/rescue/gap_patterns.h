// Learns what stands between pictures in the reference: which tracks, in which order,
// how many samples.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "workflow/rescue/frame_methods.h"
#include "workflow/rescue/harvest.h"
#include "workflow/rescue/reference.h"
#include "workflow/rescue/sound_order.h"

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
  // The same of the chunks that the pieces of the first track consist of, the fewest samples of
  // one, and how many there are.
  std::uint64_t chunkStep = 0;
  std::uint64_t leastChunk = 0;
  std::uint64_t chunks = 0;
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
  // Whether no other one is of the same place.
  bool IsOnly(const GapPattern& pattern) const;
  // The numbers of samples that pieces of a track have, without that of the
  // last piece, which may be shorter.
  std::vector<std::uint64_t> CountsOf(std::size_t track) const;
  // Samples of the longest piece of a track between pictures or behind the last one, or of the
  // longest in front of the first one.
  std::uint64_t MostOf(std::size_t track, bool atBegin) const;
  // The track that every gap begins with, or every first one; nothing where
  // they differ.
  std::optional<std::size_t> FirstTrack(bool atBegin) const;
  // The fewest samples of a piece, of the track that a gap begins with, that a piece of another
  // track follows; nothing where none does.
  std::optional<std::uint64_t> LeastFollowed(bool atBegin) const;

 private:
  struct Gap {
    std::vector<std::size_t> tracks;
    std::vector<std::uint64_t> counts;
    // Of the first track.
    std::vector<std::uint64_t> chunks;
    std::uint64_t bytes = 0;
    bool atBegin = false;
  };
  static void TakeFirst(const Gap& gap, GapPattern& pattern);
  GapPattern* TakeGap(const Gap& gap);
  std::vector<std::uint64_t>& Longest(bool atBegin) { return atBegin ? longestFirst_ : longest_; }

  std::vector<GapPattern> patterns_;
  // By track.
  std::vector<std::vector<std::uint64_t>> counts_;
  std::vector<std::uint64_t> longest_;
  std::vector<std::uint64_t> longestFirst_;
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

// Pictures that follow one another.
enum class Followers {
  kFew,
  // Too many to be there by chance.
  kEnough,
  // All that there is up to the true end of the media.
  kAll,
};

// What is known of a clip when one of its gaps is to be filled.
struct GapRules {
  const GapPatterns& patterns;
  const FrameMethods& methods;
  const SoundOrder& order;
  // That were found of each track.
  const std::vector<TrackHarvest>& found;
  // How many pictures follow one another behind the gap, as far as that matters.
  std::function<Followers()> followers = [] { return Followers::kFew; };
};

// The pieces that fill a gap exactly, by one of the patterns; nothing if none
// does, or if two do that nothing tells apart.
std::optional<std::vector<GapPiece>> SolveGap(const GapRules& rules, MediaWindow& window,
                                              ByteRange gap, GapPlace place);

}  // namespace clipchain::rescue
