#include <fmt/format.h>

#include <algorithm>

#include "workflow/pages/html_parts.h"

namespace clipchain {

namespace {

// Clips of a bar between which there is a gap to see, and what each takes then at least, in percent
// of the line: gaps between narrower ones would be all that is left of the bar.
constexpr std::size_t kMostParted = 40;
constexpr double kLeastParted = 0.8;

// A part of a bar: a clip, or those in a row that lie on one card.
struct Piece {
  unsigned int volume;
  double share;
};

std::vector<Piece> PiecesOf(const SequenceReport& sequence, bool parted) {
  const double known = KnownSeconds(sequence);
  std::vector<Piece> pieces;
  for (const SequenceClip& clip : sequence.clips) {
    const double share = known > 0 ? Seconds(clip).value_or(0) / known : 1;
    if (!parted && !pieces.empty() && pieces.back().volume == clip.volume)
      pieces.back().share += share;
    else
      pieces.push_back({clip.volume, share});
  }
  return pieces;
}

}  // namespace

std::string HtmlStrip(const SequenceReport& sequence, const char* tag, double percent) {
  const std::size_t clips = sequence.clips.size();
  const bool parted = clips <= kMostParted && static_cast<double>(clips) * kLeastParted <= percent;
  std::string html =
      fmt::format("<{} class=\"strip{}\" aria-hidden=\"true\">", tag, parted ? "" : " many");
  if (!sequence.closedAtHead) html += "<i class=\"torn head\"></i>";
  const std::vector<Piece> pieces = PiecesOf(sequence, parted);
  for (const Piece& piece : pieces) {
    const bool start = &piece == &pieces.front() && sequence.closedAtHead;
    const bool end = &piece == &pieces.back() && sequence.closedAtTail;
    // A clip of unknown length is there, too, and is to be seen.
    html += fmt::format("<b class=\"piece {}{}{}\" style=\"flex-grow:{:.3f}\"></b>",
                        CardClasses(piece.volume), start ? " start" : "", end ? " end" : "",
                        std::max(piece.share * 1000, 0.1));
  }
  if (!sequence.closedAtTail) html += "<i class=\"torn tail\"></i>";
  return html + fmt::format("</{}>", tag);
}

}  // namespace clipchain
