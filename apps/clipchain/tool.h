// Runs the command-line tool as a whole.
#pragma once

namespace clipchain {

// What the tool ends with.
inline constexpr int kDone = 0;
// Refused or failed; a line on the error stream says why.
inline constexpr int kFailed = 1;
// The command line makes no sense.
inline constexpr int kUsage = 2;
// Done, but for a part that the output names.
inline constexpr int kIncomplete = 3;

// Reads the command line, runs the command it names and answers the exit code.
int RunTool(int argc, const char* const* argv);

}  // namespace clipchain
