// Makes manual pages: what a person wrote, with the synopsis, the options and the examples as the
// command line has them.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace clipchain {

// Writes the page in the language of man(7). `written` holds the parts that are written by hand,
// and the lines @SYNOPSIS@, @OPTIONS@, @COMMANDS@, @EXAMPLES@ and @SEE_ALSO@ where the others go.
// `command`: the tool itself or one of its commands.
std::string ManPage(const CLI::App& command, const std::string& written);

// "clipchain-merge", "clipchain" for the tool itself.
std::string ManPageName(const CLI::App& command);

}  // namespace clipchain
