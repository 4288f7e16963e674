// Writes the page of a command: --html FILE, --overwrite.
#pragma once

#include <string>

#include "adapt/reason.h"
#include "workflow/clip_search.h"
#include "workflow/plan.h"

namespace clipchain {

// Says why the page can't be written, as the rest of a sentence that begins with its path, known
// before any clip is read.
[[nodiscard]] Reason WhyNoPage(const std::string& path, bool overwrite, const FoundClips& found);
// Says the same of a page of a join: it is neither a clip nor a result.
[[nodiscard]] Reason WhyNoPage(const std::string& path, const JoinPlan& plan);
// Tells people why there is no page; answers the exit code.
int FailPage(const std::string& path, const std::string& why);
// Writes it, and says what earlier runs left beside it; answers the exit code.
int WritePage(const std::string& path, const std::string& text, bool overwrite);

// Tells the time, "2024-05-06 07:08", by the clock of the machine.
std::string MadeWords();

}  // namespace clipchain
