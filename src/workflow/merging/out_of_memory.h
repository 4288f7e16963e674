// Reports a merge for which there was not enough memory.
#pragma once

#include <string>

#include "workflow/findings/file_findings.h"
#include "workflow/safe_merge.h"

namespace clipchain {

// `state`: what the output is therefore, "was not made".
inline SafeMergeReport OutOfMemoryReport(const std::string& output, const std::string& state) {
  SafeMergeReport report;
  report.result = E_OUTOFMEMORY;
  report.findings.push_back(MakeFinding(Message::kOutOfMemory, output,
                                        state + ": there is not enough memory",
                                        "merge fewer clips at once"));
  report.findings.back().result = report.result;
  return report;
}

}  // namespace clipchain
