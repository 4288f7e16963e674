// Reads the chapters that a result has.
#pragma once

#include <string>
#include <vector>

#include "workflow/system/file_bytes.h"

namespace clipchain {

// Their titles; none where it has no chapters. Of a result that was made with chapters these are
// the ones that its clips had as their names then.
std::vector<std::string> ChapterTitlesIn(FileBytes& file);

}  // namespace clipchain
