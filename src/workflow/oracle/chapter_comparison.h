// Compares the chapters of a result with the moments at which its clips begin.
#pragma once

#include <string>
#include <vector>

#include "workflow/oracle/oracle_findings.h"
#include "workflow/oracle/sample_reader.h"
#include "workflow/oracle/shown_times.h"

namespace clipchain::samples {

struct ExpectedChapter {
  std::string title;
  Seconds start;
};

// Finds "moov/udta/chpl" in the result, and in it a chapter for each that is expected, of that
// title and start, in their order and no others. A start lies where the picture is shown or up to
// 100 ns later. Where `timed` is false nobody knows when pictures are shown, and starts are passed
// over.
void CompareChapters(const SampleFile& result, const std::vector<ExpectedChapter>& expected,
                     bool timed, OracleFindings& findings);

}  // namespace clipchain::samples
