// Prints findings.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"
#include "workflow/clips/finding_json.h"
#include "workflow/finding.h"

namespace clipchain {

// Spells a finding: "error: a.mp4 is too short: moov/trak[0]/mdia at byte 40 (media-cut-off)", and
// the remedy on a line of its own, further in. Each line ends with a line feed.
std::string FindingText(const Finding& finding, const Paint& paint = {});

// Spells all of them, in their order; of warnings that more than two files have alike the first
// one, and how many others there are.
std::string FindingsText(const Findings& findings, const Paint& paint = {});

// Keeps those that somebody should hear of who wants to hear nothing else: warnings and what is
// worse.
Findings Grave(const Findings& findings);

}  // namespace clipchain
