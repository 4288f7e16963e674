// Writes to the standard output. What it does not take is never lost without a word.
#pragma once

#include <string_view>

namespace clipchain {

// Prints the text. After a write that failed nothing more is printed.
void Print(std::string_view text);

// Hands what was printed to the system.
void FlushOutput();

// Tells whether a write has failed, so that there is nobody to go on printing for.
bool OutputFailed();

// Flushes, and answers what the tool ends with: `exitCode` if all that was printed was taken, else
// 1 after a sentence on the error stream. Where the reader has closed the pipe, the process ends by
// SIGPIPE, as one does that heeds the signal; only if the caller had ignored the signal, that is a
// failure like any other.
int EndOutput(int exitCode);

}  // namespace clipchain
