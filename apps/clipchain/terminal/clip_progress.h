// Shows a look at many clips on the progress line.
#pragma once

#include "clipchain/terminal/progress_line.h"
#include "workflow/progress.h"

namespace clipchain {

// To be told before each look at a clip; draws "WHAT clip 3 of 57" if it takes long, and answers
// false if a signal asks for the end. The line must outlive the function.
Progress ClipProgress(const char* what, ProgressLine& line);

}  // namespace clipchain
