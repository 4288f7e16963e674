// Says what is wrong with a command line.
#pragma once

#include <string>

namespace CLI {
class App;
class Option;
class ParseError;
}  // namespace CLI

namespace clipchain {

// Refuses a value that is empty: a variable of a script that was not set is no name of a file.
CLI::Option* MustBeGiven(CLI::Option* option);

// The message for a command line that `error` has ended, which lies in `arguments` from the command
// on.
std::string UsageText(const CLI::App& tool, const CLI::ParseError& error, int count,
                      const char* const* arguments);

}  // namespace clipchain
