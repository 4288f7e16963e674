// What the parts of the page share.
#pragma once

#include <string>
#include <vector>

#include "workflow/clip_search.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// The page's style sheet, but for the shapes of volumes.
extern const char kHtmlStyle[];
// The rules that make bars of each shape, and the shapes for use in the page.
std::string HtmlShapeStyle();
std::string HtmlShapes();

// The class that gives a volume its colour and the one that gives it its shape, with a space
// between: 64 volumes all differ.
std::string VolumeClasses(unsigned int volume);
// The volume's shape in its colour, and its number.
std::string VolumeChip(unsigned int volume);

// How long its clips run, as far as that is known.
double KnownSeconds(const SequenceReport& sequence);
// How much time all their clips take, in words: "7.7 s", or "at least 5.1 s" if not all are known.
std::string LengthWords(const std::vector<const SequenceReport*>& sequences);
// "1 clip", "2 clips".
std::string Counted(std::size_t number, const char* what);

// The clips as pieces of a bar, an open end as a torn one. For the eye alone. `tag`: its element.
std::string HtmlStrip(const SequenceReport& sequence, const char* tag);
// The section with the time line; empty if there is no sequence.
std::string HtmlTimeline(const ScanReport& report);
// One sequence with its clips; numbers count from 1.
std::string HtmlSequence(const SequenceReport& sequence, std::size_t number);
// The section with the proposals; empty without any.
std::string HtmlProposals(const std::vector<Proposal>& proposals);

}  // namespace clipchain
