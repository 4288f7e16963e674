#include "workflow/rescue/gap_patterns.h"

#include <algorithm>
#include <numeric>

namespace clipchain::rescue {

namespace {

// No recording has more kinds of them; what is beyond is no pattern.
constexpr std::size_t kMostPatterns = 64;
constexpr std::size_t kMostCounts = 256;

template <typename Value>
void AddOnce(std::vector<Value>& values, const Value& value) {
  if (values.size() < kMostCounts && std::find(values.begin(), values.end(), value) == values.end())
    values.push_back(value);
}

}  // namespace

void GapPatterns::Learn(const Reference& reference, std::optional<std::size_t> anchor) {
  counts_.resize(reference.tracks().size());
  longest_.resize(reference.tracks().size());
  longestFirst_.resize(reference.tracks().size());
  Gap gap;
  gap.atBegin = true;
  std::uint64_t last = 0;
  for (const ChunkPlace& chunk : reference.chunks()) {
    if (anchor && chunk.track == *anchor) {
      GapPattern* pattern = gap.tracks.empty() ? nullptr : TakeGap(gap);
      if (pattern != nullptr) TakeFirst(gap, *pattern);
      gap = {};
      continue;
    }
    const bool joins =
        !gap.tracks.empty() && gap.tracks.back() == chunk.track && chunk.position == last;
    if (!joins) {
      gap.tracks.push_back(chunk.track);
      gap.counts.push_back(0);
    }
    gap.counts.back() += chunk.samples;
    if (gap.tracks.size() == 1) gap.chunks.push_back(chunk.samples);
    const std::uint64_t bytes = reference.BytesOf(chunk);
    gap.bytes += bytes;
    last = chunk.position + bytes;
  }
  // The last gap may have ended early, as the recording did; its order counts,
  // its numbers do not where there are others.
  if (gap.tracks.empty()) return;
  const auto counts = counts_;
  TakeGap(gap);
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (!counts[i].empty()) counts_[i] = counts[i];
  }
}

void GapPatterns::TakeFirst(const Gap& gap, GapPattern& pattern) {
  const std::uint64_t count = gap.counts.front();
  pattern.least = pattern.most == 0 ? count : std::min(pattern.least, count);
  pattern.most = std::max(pattern.most, count);
  pattern.step = std::gcd(pattern.step, count);
  for (const std::uint64_t chunk : gap.chunks) {
    pattern.leastChunk = pattern.chunks == 0 ? chunk : std::min(pattern.leastChunk, chunk);
    pattern.chunkStep = std::gcd(pattern.chunkStep, chunk);
    ++pattern.chunks;
  }
}

GapPattern* GapPatterns::TakeGap(const Gap& gap) {
  largest_ = std::max(largest_, gap.bytes);
  for (std::size_t i = 0; i < gap.tracks.size(); ++i) {
    AddOnce(counts_[gap.tracks[i]], gap.counts[i]);
    std::uint64_t& longest = Longest(gap.atBegin)[gap.tracks[i]];
    longest = std::max(longest, gap.counts[i]);
  }
  auto found = std::find_if(patterns_.begin(), patterns_.end(), [&](const GapPattern& pattern) {
    return pattern.tracks == gap.tracks && pattern.atBegin == gap.atBegin;
  });
  if (found == patterns_.end()) {
    if (patterns_.size() == kMostPatterns) return nullptr;
    patterns_.emplace_back();
    found = patterns_.end() - 1;
    found->tracks = gap.tracks;
    found->atBegin = gap.atBegin;
  }
  ++found->times;
  AddOnce(found->counts, gap.counts);
  return &*found;
}

std::vector<std::uint64_t> GapPatterns::CountsOf(std::size_t track) const { return counts_[track]; }

std::uint64_t GapPatterns::MostOf(std::size_t track, bool atBegin) const {
  return (atBegin ? longestFirst_ : longest_)[track];
}

std::optional<std::size_t> GapPatterns::FirstTrack(bool atBegin) const {
  std::optional<std::size_t> first;
  for (const GapPattern& pattern : patterns_) {
    if (pattern.atBegin != atBegin) continue;
    if (first && *first != pattern.tracks.front()) return std::nullopt;
    first = pattern.tracks.front();
  }
  return first;
}

bool GapPatterns::IsOnly(const GapPattern& pattern) const {
  return std::all_of(patterns_.begin(), patterns_.end(), [&](const GapPattern& other) {
    return &other == &pattern || other.atBegin != pattern.atBegin;
  });
}

std::optional<std::uint64_t> GapPatterns::LeastFollowed(bool atBegin) const {
  std::optional<std::uint64_t> least;
  for (const GapPattern& pattern : patterns_) {
    if (pattern.atBegin != atBegin || pattern.tracks.size() < 2) continue;
    for (const auto& counts : pattern.counts) {
      // The last piece of the first track may be the second one in the gap.
      for (std::size_t i = 0; i + 1 < counts.size(); ++i) {
        if (pattern.tracks[i] == pattern.tracks.front())
          least = std::min(least.value_or(counts[i]), counts[i]);
      }
    }
  }
  return least;
}

namespace {

using Pieces = std::vector<GapPiece>;

bool SaysNothing(const GapPattern& pattern, const FrameMethods& methods) {
  return std::all_of(pattern.tracks.begin(), pattern.tracks.end(),
                     [&](std::size_t track) { return methods[track]->UniformSize() != 0; });
}

// A few pictures in a row are none by chance, but another clip of the camera may have them, too,
// and in front of them a part of a piece of its sound: that is shorter than a piece, and behind a
// whole chunk of this clip both are two chunks at least. What is no number of packets counts only
// where the media truly ends behind those pictures, as the other clip hardly does.
bool IsBeforePictures(const GapRules& rules, const GapPattern& pattern, std::uint64_t count) {
  constexpr std::uint64_t kEnough = 4;
  constexpr std::uint64_t kLeastStep = 256;
  if (pattern.chunks == 0 || count >= 2 * pattern.leastChunk) return false;
  // Pieces of several tracks may take turns instead of being longer.
  if (pattern.tracks.size() > 1 && count > pattern.most) return false;
  if (pattern.chunks >= kEnough && pattern.chunkStep >= kLeastStep &&
      count % pattern.chunkStep == 0 && count >= pattern.least)
    return rules.followers() != Followers::kFew;
  return count <= pattern.most && rules.followers() == Followers::kAll;
}

class Solver {
 public:
  Solver(const GapRules& rules, MediaWindow& window, ByteRange gap, bool ends)
      : rules_(rules), methods_(rules.methods), window_(window), gap_(gap), ends_(ends) {}

  bool HasMethods(const GapPattern& pattern) const {
    return std::all_of(pattern.tracks.begin(), pattern.tracks.end(),
                       [&](std::size_t track) { return methods_[track] != nullptr; });
  }

  // Each way that there is; the first one where all must be the same.
  std::vector<Pieces> Solve(const GapPattern& pattern) {
    std::vector<Pieces> ways;
    if (pattern.tracks.size() == 1) {
      auto span = methods_[pattern.tracks[0]]->Fill(window_, gap_);
      if (span) Keep({{pattern.tracks[0], gap_.begin, std::move(*span)}}, ways);
      return ways;
    }
    for (const auto& counts : pattern.counts) {
      if (auto pieces = SolveWith(pattern, counts)) Keep(std::move(*pieces), ways);
      if (!ways.empty() && !HasAlike(pattern)) break;
    }
    if (ways.empty() && IsEven(pattern)) {
      if (auto pieces = SolveEvenly(pattern)) Keep(std::move(*pieces), ways);
    }
    if (ways.empty() && HasMarkBehindUniform(pattern)) {
      if (auto pieces = SolveWith(pattern, {})) Keep(std::move(*pieces), ways);
    }
    return ways;
  }

  // Whether it has pieces that look like those of another track.
  bool HasAlike(const GapPattern& pattern) const {
    return std::any_of(pattern.tracks.begin(), pattern.tracks.end(),
                       [&](std::size_t track) { return rules_.order.Has(track); });
  }

 private:
  bool IsUniform(std::size_t track) const { return methods_[track]->UniformSize() != 0; }

  std::uint64_t UniformBytes(std::size_t track, std::uint64_t count) const {
    return std::uint64_t{methods_[track]->UniformSize()} * count;
  }

  // Pieces of constant size beside each other that are always in one proportion, and never take
  // turns.
  bool IsEven(const GapPattern& pattern) const {
    const auto& first = pattern.counts.front();
    return rules_.patterns.IsOnly(pattern) && SaysNothing(pattern, methods_) &&
           std::all_of(pattern.counts.begin(), pattern.counts.end(), [&](const auto& counts) {
             for (std::size_t i = 1; i < counts.size(); ++i) {
               if (counts[i] * first[0] != counts[0] * first[i]) return false;
             }
             return true;
           });
  }

  std::optional<Pieces> SolveEvenly(const GapPattern& pattern) {
    auto counts = pattern.counts.front();
    std::uint64_t common = 0;
    for (const std::uint64_t count : counts) common = std::gcd(common, count);
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < counts.size(); ++i)
      bytes += UniformBytes(pattern.tracks[i], counts[i] /= common);
    const std::uint64_t times = (gap_.end - gap_.begin) / bytes;
    for (std::uint64_t& count : counts) count *= times;
    if (times == 0) return std::nullopt;
    return SolveWith(pattern, counts);
  }

  bool HasMarkBehindUniform(const GapPattern& pattern) const {
    for (std::size_t i = 1; i < pattern.tracks.size(); ++i) {
      if (IsUniform(pattern.tracks[i - 1]) && methods_[pattern.tracks[i]]->MarkSize() != 0)
        return true;
    }
    return false;
  }

  void Keep(Pieces pieces, std::vector<Pieces>& ways) const {
    std::vector<std::uint64_t> samples;
    for (const TrackHarvest& track : rules_.found) samples.push_back(track.samples);
    for (const GapPiece& piece : pieces) {
      samples[piece.track] += piece.span.count;
      if (rules_.order.Has(piece.track) && !rules_.order.MayEnd(piece.track, samples)) return;
    }
    ways.push_back(std::move(pieces));
  }

  // Without numbers only marks tell where samples of constant size end.
  std::optional<Pieces> SolveWith(const GapPattern& pattern,
                                  const std::vector<std::uint64_t>& counts) {
    Pieces pieces;
    std::uint64_t at = gap_.begin;
    for (std::size_t i = 0; i < pattern.tracks.size(); ++i) {
      auto span = PieceAt(pattern, counts, i, at);
      if (!span) return std::nullopt;
      pieces.push_back({pattern.tracks[i], at, std::move(*span)});
      at += pieces.back().span.bytes;
    }
    if (at != gap_.end) return std::nullopt;
    return pieces;
  }

  std::optional<SampleSpan> PieceAt(const GapPattern& pattern,
                                    const std::vector<std::uint64_t>& counts, std::size_t i,
                                    std::uint64_t at) {
    const std::size_t track = pattern.tracks[i];
    FrameMethod& method = *methods_[track];
    const std::uint64_t left = gap_.end - at;
    if (counts.empty()) return PieceUpToMark(pattern, i, at);
    if (IsUniform(track)) {
      const std::uint64_t size = UniformBytes(track, counts[i]);
      if (size > left) return std::nullopt;
      return method.Fill(window_, {at, at + size});
    }
    if (method.MarkSize() != 0) return method.Take(window_, {at, gap_.end}, left);
    std::uint64_t behind = 0;
    std::size_t next = i + 1;
    for (; next < counts.size() && IsUniform(pattern.tracks[next]); ++next)
      behind += UniformBytes(pattern.tracks[next], counts[next]);
    // It takes what the others leave.
    if (next == counts.size()) {
      if (behind > left) return std::nullopt;
      return method.Fill(window_, {at, gap_.end - behind});
    }
    const FrameMethod& following = *methods_[pattern.tracks[next]];
    if (following.MarkSize() != 0) return UpToMark(method, following, at, behind);
    return method.Take(window_, {at, gap_.end}, counts[i]);
  }

  std::optional<SampleSpan> PieceUpToMark(const GapPattern& pattern, std::size_t i,
                                          std::uint64_t at) {
    FrameMethod& method = *methods_[pattern.tracks[i]];
    if (method.MarkSize() != 0) return method.Take(window_, {at, gap_.end}, gap_.end - at);
    if (i + 1 == pattern.tracks.size()) return std::nullopt;
    const FrameMethod& following = *methods_[pattern.tracks[i + 1]];
    if (following.MarkSize() == 0) return std::nullopt;
    auto span = UpToMark(method, following, at, 0);
    const bool isSure = !span || !IsUniform(pattern.tracks[i]) ||
                        (i == 0 && (ends_ || IsBeforePictures(rules_, pattern, span->count)));
    return isSure ? span : std::nullopt;
  }

  // What fills the part in front of a mark, and of so many bytes in front of that.
  std::optional<SampleSpan> UpToMark(FrameMethod& method, const FrameMethod& following,
                                     std::uint64_t at, std::uint64_t between) {
    constexpr int kMostMarks = 8;
    const std::size_t size = following.MarkSize();
    int marks = 0;
    for (std::uint64_t mark = at + between + 1; mark + size <= gap_.end; ++mark) {
      const unsigned char* bytes = window_.At(mark, size);
      if (bytes == nullptr) break;
      if (!following.IsMark(bytes)) continue;
      if (auto span = method.Fill(window_, {at, mark - between})) return span;
      if (++marks == kMostMarks) break;
    }
    return std::nullopt;
  }

  const GapRules& rules_;
  const FrameMethods& methods_;
  MediaWindow& window_;
  ByteRange gap_;
  // The media ends with it.
  bool ends_;
};

// Where sound is written in packets of many samples, pieces are a few of them long: a number of
// packets that the reference happens not to have will do, of one more at most. What looks like a
// picture inside of sound is hardly where a packet ends. Where pictures were not recorded a piece
// is longer than what a cut has left of one and the first one of another recording can be together.
bool IsOfPackets(const GapPattern& pattern, std::uint64_t count) {
  constexpr std::uint64_t kLeastPacket = 64;
  constexpr std::uint64_t kMostPackets = 16;
  constexpr std::uint64_t kLongPacket = 512;
  constexpr std::uint64_t kEnough = 8;
  const bool isUsual = count <= pattern.most + pattern.step;
  const bool isLong = count > 2 * pattern.most && pattern.step >= kLongPacket;
  return pattern.times >= kEnough && pattern.step >= kLeastPacket &&
         pattern.most / pattern.step <= kMostPackets && (isUsual || isLong) &&
         count % pattern.step == 0;
}

// Where the reference's gaps are of very many lengths, one between them will do, as long as no two
// of them fit into one: then nothing inside of a gap can be taken for a picture between two.
bool HasLikelyCounts(const GapRules& rules, const GapPattern& pattern, const Pieces& pieces) {
  constexpr std::size_t kMany = 64;
  const std::uint64_t count = pieces.front().span.count;
  if (IsBeforePictures(rules, pattern, count)) return true;
  if (pieces.size() != 1) return false;
  return IsOfPackets(pattern, count) || (pattern.counts.size() >= kMany && pattern.least <= count &&
                                         count <= pattern.most && 2 * pattern.least > pattern.most);
}

bool HasKnownCounts(const GapPattern& pattern, const Pieces& pieces) {
  std::vector<std::uint64_t> counts;
  for (const GapPiece& piece : pieces) counts.push_back(piece.span.count);
  return std::find(pattern.counts.begin(), pattern.counts.end(), counts) != pattern.counts.end();
}

bool IsSame(const Pieces& a, const Pieces& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const GapPiece& one, const GapPiece& other) {
                      return one.track == other.track && one.position == other.position &&
                             one.span.count == other.span.count;
                    });
}

// Of all ways to fill a gap, the one that there is.
class OneWay {
 public:
  void Take(Pieces pieces) {
    several_ = several_ || (only_ && !IsSame(*only_, pieces));
    if (!only_) only_ = std::move(pieces);
  }
  bool any() const { return only_.has_value(); }
  std::optional<Pieces> way() const { return several_ ? std::nullopt : only_; }

 private:
  std::optional<Pieces> only_;
  bool several_ = false;
};

}  // namespace

// Nothing but the reference's own numbers speaks for samples of constant size, unless the media
// ends with them, and they are too few to hide a piece of another track.
bool MayEndWith(const GapPatterns& patterns, const GapPattern& pattern, const Pieces& pieces,
                bool atBegin) {
  if (pieces.size() > 1) return pieces.front().span.count <= pattern.most;
  const auto followed = patterns.LeastFollowed(atBegin);
  return !followed || pieces.front().span.count <= *followed;
}

// Samples that a decoder or a header confirms fill a gap by no accident. Those
// of constant size do so easily, and count only where there is one way; so do pieces that look like
// those of another track. Numbers that the reference has go ahead of those that are like them.
std::optional<std::vector<GapPiece>> SolveGap(const GapRules& rules, MediaWindow& window,
                                              ByteRange gap, GapPlace place) {
  const bool atBegin = place != GapPlace::kInside && place != GapPlace::kEnd;
  const bool ends = place == GapPlace::kEnd || place == GapPlace::kAll;
  Solver solver(rules, window, gap, ends);
  OneWay known;
  OneWay likely;
  for (const GapPattern& pattern : rules.patterns.all()) {
    if (pattern.atBegin != atBegin || !solver.HasMethods(pattern)) continue;
    const bool isUniform = SaysNothing(pattern, rules.methods);
    for (Pieces& pieces : solver.Solve(pattern)) {
      if (!isUniform && !solver.HasAlike(pattern)) return std::move(pieces);
      if (!isUniform || HasKnownCounts(pattern, pieces)) {
        known.Take(std::move(pieces));
      } else if (HasLikelyCounts(rules, pattern, pieces) ||
                 (ends && MayEndWith(rules.patterns, pattern, pieces, atBegin))) {
        likely.Take(std::move(pieces));
      }
    }
  }
  return known.any() ? known.way() : likely.way();
}

}  // namespace clipchain::rescue
