// Shows the recordings of a number of clips as a page to look at, to keep and to print.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/clip_search.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// Writes one HTML document in UTF-8 that needs nothing else, no script and no other file: what
// needs attention, a time line, and each recording with its clips, their pictures, dates and
// durations. For those, `report` must have been made with ScanOptions::cards. Proposals follow as
// chains of dashes, of the class "proposal". A few lines of script, without which everything can be
// read, find words in it. `folder` is the one of the page, from which its links lead to the clips;
// `made`, if it is not empty, is shown as the time at which it was made. The same of all of it
// gives the same page.
//
// Programs find in it what the JSON has: elements of the classes "volume", "sequence", "clip" and
// "rejected-path" with the fields as attributes of the same names behind "data-", "-" for "_", and
// an empty value for null. Volumes, clips of a sequence and rejected paths are in the same order;
// sequences have their numbers.
struct HtmlOptions {
  ScanOptions scan{};
  std::string folder{};
  std::string made{};
};
CLIPCHAIN_API std::string HtmlReport(const FoundClips& found, const ScanReport& report,
                                     const HtmlOptions& options,
                                     const std::vector<Proposal>& proposals = {});

// Says whether a file is such a page, or empty: what may be replaced by a new one. A clip never is.
CLIPCHAIN_API bool IsHtmlReport(const std::string& path);

}  // namespace clipchain
