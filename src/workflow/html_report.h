// The sequences of a number of clips as a page to look at, to keep and to print.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/clip_search.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// One HTML document in UTF-8 that needs nothing else, no script and no other file: a time line, and
// each sequence with its clips, their thumbnails, dates and durations. For those, `report` must
// have been made with ScanOptions::cards. Proposals follow as chains of dashes, of the class
// "proposal". The same report gives the same page.
//
// Programs find in it what the JSON has: elements of the classes "volume", "sequence", "clip" and
// "rejected-path" in the same order, with the fields as attributes of the same names behind
// "data-", "-" for "_", and an empty value for null.
CLIPCHAIN_API std::string HtmlReport(const FoundClips& found, const ScanReport& report,
                                     const ScanOptions& options,
                                     const std::vector<Proposal>& proposals = {});

// Whether a file is such a page, or empty: what may be replaced by a new one. A clip never is.
CLIPCHAIN_API bool IsHtmlReport(const std::string& path);

}  // namespace clipchain
