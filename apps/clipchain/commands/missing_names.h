// Finds names on the command line that lead to nothing: mistyped, as a rule.
#pragma once

#include <string>
#include <vector>

#include "workflow/finding.h"

namespace clipchain {

// Names what is not there, in the words in which every command does that. A command that looks for
// clips does nothing then: it would look without a card that was meant.
Findings MissingNames(const std::vector<std::string>& paths);

// Tells people of them, where each command tells of what went wrong.
void PrintMissingNames(const Findings& missing);

}  // namespace clipchain
