// Writes what shells need to complete command lines: the commands, their options, what those take.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace clipchain {

// Each gives a whole file for the shell's folder of completions.
std::string BashCompletion(const CLI::App& tool);
std::string ZshCompletion(const CLI::App& tool);
std::string FishCompletion(const CLI::App& tool);

}  // namespace clipchain
