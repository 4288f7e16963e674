// Prints which recordings a number of clips form.
#pragma once

#include <string>
#include <vector>

#include "clipchain/terminal/paint.h"
#include "workflow/clip_search.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// Makes a table with a row for each recording and its clips below it, then the proposals and what
// could not be registered.
std::string SequencesTable(const FoundClips& found, const ScanReport& report,
                           const std::vector<Proposal>& proposals, const ScanOptions& options,
                           const Paint& paint);

// Says the same for programs; docs/json.md has the fields.
std::string SequencesJson(const FoundClips& found, const ScanReport& report,
                          const std::vector<Proposal>& proposals, const ScanOptions& options);

}  // namespace clipchain
