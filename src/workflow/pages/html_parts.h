// Draws the parts of pages, and what they share.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "workflow/clip_search.h"
#include "workflow/pages/html_links.h"
#include "workflow/pages/html_pictures.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// Styles pages, but for the shapes of cards.
extern const char kHtmlStyle[];
// Make the rules for bars of each shape, and the shapes for use in the page.
std::string HtmlShapeStyle();
std::string HtmlShapes();

// Names the class that gives a card its colour and the one that gives it its shape, with a space
// between: 64 cards all differ.
std::string CardClasses(unsigned int card);
// Draws the card's shape in its colour, and its number.
std::string CardChip(unsigned int card);

// Sums how long its clips run, as far as that is known.
double KnownSeconds(const SequenceReport& sequence);
// Tells how much time all their clips take: "7.7 s", or "at least 5.1 s" if not all are known.
std::string LengthWords(const std::vector<const SequenceReport*>& sequences);
// Links to a recording by its index: "recording 3".
std::string RecordingLink(std::size_t index, const char* word = "recording");

// Holds what the parts of one page have in common.
struct PageContext {
  const ScanReport& report;
  const Links& links;
  const Pictures& pictures;
  // FindHalves.
  std::map<std::size_t, std::size_t> halves{};
  // The same from behind.
  std::map<std::size_t, std::size_t> previous{};
};

// Draws the clips as pieces of a bar, an open end as a torn one. For the eye alone. `tag`: its
// element. `percent`: how much of a line the bar takes; where clips would get too little of it to
// be told apart, those in a row on one card are one piece.
std::string HtmlStrip(const SequenceReport& sequence, const char* tag, double percent = 100);
// Makes the section with the time line; empty if there is no recording. All days have one scale.
// What is proposed to belong together, and halves of a recording, hang together by dashes.
std::string HtmlTimeline(const ScanReport& report, const std::vector<Proposal>& proposals = {});
// Shows one recording with its clips.
std::string HtmlSequence(const PageContext& page, std::size_t index);
// Makes the section with the proposals; empty without any.
std::string HtmlProposals(const std::vector<Proposal>& proposals, const Links& links);
// Lists what somebody should look at, worst first; empty without anything.
std::string HtmlAttentions(const PageContext& page, const FoundClips& found,
                           const std::vector<Proposal>& proposals);

}  // namespace clipchain
