// Shows the recordings of a number of clips as a page to look at, to keep and to print.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/clip_search.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// Writes one HTML document in UTF-8 that needs no other file: what needs attention, a time line,
// and each recording with its clips, their pictures, dates and durations, for which `report` must
// have been made with ScanOptions::cards. Proposals are drawn as chains of dashes, of the class
// "proposal". The page holds a few lines of script that search it; without them everything can be
// read all the same. `folder` is the one in which the page will lie, from where its links lead to
// the clips; `made` is shown as the time at which it was made, unless it is empty. The same
// arguments give the same page.
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
