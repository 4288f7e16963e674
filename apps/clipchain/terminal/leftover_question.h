// Asks what becomes of files that killed runs have left behind.
#pragma once

#include <functional>
#include <string>

#include "clipchain/terminal/progress_line.h"
#include "workflow/leftovers.h"

namespace clipchain {

// Whether somebody sits at a terminal who can be asked.
bool IsOnTerminal();

// Asks on the error stream. "y" or "yes" is a yes; anything else, the end of the input or a signal
// is none.
bool AskYesNo(const std::string& question);

// Whether a leftover is to be removed: `always`, or where somebody sits at a terminal and the
// output is not for a program, as they answer. Empty if nobody can be asked. The line makes room
// for the question and must outlive the function.
std::function<bool(const Leftover&)> LeftoverQuestion(bool always, bool forPrograms,
                                                      ProgressLine& line);

}  // namespace clipchain
