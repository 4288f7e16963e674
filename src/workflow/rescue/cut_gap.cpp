#include "workflow/rescue/cut_gap.h"

#include <algorithm>

namespace clipchain::rescue {

namespace {

using Pieces = std::vector<GapPiece>;

class CutGapSolver {
 public:
  CutGapSolver(const GapRules& rules, MediaWindow& window, const CutGap& gap, BeginsOther& other)
      : rules_(rules), window_(window), gap_(gap), other_(other) {}

  bool Suits(const GapPattern& pattern) const {
    return pattern.atBegin == gap_.atBegin && pattern.tracks.size() > 1 &&
           std::all_of(pattern.tracks.begin(), pattern.tracks.end(), [&](std::size_t track) {
             return rules_.methods[track] != nullptr && !rules_.order.Has(track);
           });
  }

  // Another clip's sound may stand behind the cut.
  bool SaysNothing(const GapPattern& pattern) const {
    return std::all_of(pattern.tracks.begin(), pattern.tracks.end(),
                       [&](std::size_t track) { return IsUniform(track); });
  }

  Pieces Solve(const GapPattern& pattern, const std::vector<std::uint64_t>& counts) {
    Pieces pieces;
    std::uint64_t at = gap_.range.begin;
    for (std::size_t i = 0; i < counts.size() && at < gap_.range.end; ++i) {
      const std::size_t track = pattern.tracks[i];
      if (i != 0 && Confirms(pieces, track, at)) return pieces;
      auto span = Whole(track, counts[i], at);
      if (!span) break;
      pieces.push_back({track, at, std::move(*span)});
      at += pieces.back().span.bytes;
    }
    return {};
  }

 private:
  bool IsUniform(std::size_t track) const { return rules_.methods[track]->UniformSize() != 0; }

  // Whether the track's piece begins there; then what is sure of it is added.
  bool Confirms(Pieces& pieces, std::size_t track, std::uint64_t at) {
    FrameMethod& method = *rules_.methods[track];
    if (const std::size_t size = method.MarkSize(); size != 0) {
      if (size > gap_.range.end - at) return false;
      const unsigned char* bytes = window_.At(at, size);
      return bytes != nullptr && method.IsMark(bytes);
    }
    // Nothing in such samples shows where others end.
    if (IsUniform(track)) return false;
    SampleSpan span = method.Begin(window_, {at, gap_.range.end}, other_);
    if (span.count == 0) return false;
    pieces.push_back({track, at, std::move(span)});
    return true;
  }

  std::optional<SampleSpan> Whole(std::size_t track, std::uint64_t count, std::uint64_t at) {
    FrameMethod& method = *rules_.methods[track];
    if (!IsUniform(track)) return method.Take(window_, {at, gap_.range.end}, count);
    const std::uint64_t bytes = method.UniformSize() * count;
    if (bytes > gap_.range.end - at) return std::nullopt;
    return method.Fill(window_, {at, at + bytes});
  }

  const GapRules& rules_;
  MediaWindow& window_;
  const CutGap& gap_;
  BeginsOther& other_;
};

bool IsSame(const Pieces& a, const Pieces& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const GapPiece& one, const GapPiece& other) {
                      return one.track == other.track && one.position == other.position &&
                             one.span.count == other.span.count;
                    });
}

}  // namespace

std::vector<GapPiece> SolveCutGap(const GapRules& rules, MediaWindow& window, const CutGap& gap,
                                  BeginsOther& other) {
  CutGapSolver solver(rules, window, gap, other);
  Pieces only;
  const auto take = [&only](Pieces pieces) {
    if (!pieces.empty() && !only.empty() && !IsSame(only, pieces)) return false;
    if (!pieces.empty()) only = std::move(pieces);
    return true;
  };
  for (const GapPattern& pattern : rules.patterns.all()) {
    if (!solver.Suits(pattern) || solver.SaysNothing(pattern)) continue;
    for (const auto& counts : pattern.counts) {
      if (!take(solver.Solve(pattern, counts))) return {};
    }
  }
  return only;
}

}  // namespace clipchain::rescue
