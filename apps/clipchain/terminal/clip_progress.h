// A look at many clips as the progress line shows it.
#pragma once

#include <cstddef>
#include <functional>

#include "clipchain/terminal/progress_line.h"

namespace clipchain {

// To be told before each look at a clip; draws "WHAT clip 3 of 57" if it takes long, and answers
// false if a signal asks for the end. The line must outlive the function.
std::function<bool(std::size_t done, std::size_t count)> ClipProgress(const char* what,
                                                                      ProgressLine& line);

}  // namespace clipchain
