// Reads the chapters that a result has.
#pragma once

#include <string>
#include <vector>

#include "workflow/fitting.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// Their titles; none where it has no chapters. Of a result that was made with chapters these are
// the ones that its clips had as their names then.
std::vector<std::string> ChapterTitlesIn(FileBytes& file);

// How a result that is there was made, as far as it shows that: with chapters, if it has one for
// each clip and the first clip brought none, whether they are asked for or not.
Fitting FittingOfResult(const std::string& result, const std::vector<std::string>& clips,
                        const Fitting& asked);

}  // namespace clipchain
