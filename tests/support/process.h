// Running programs: the tool under test, and the media tools that judge its output.
#pragma once

#include <string>
#include <vector>

namespace support {

struct Finished {
  int exitCode = -1;  // 128 and above for a program that a signal ended
  std::string out;
  std::string err;
};

// Runs a program with no input and waits for it. The first argument is looked up in the path.
Finished Run(const std::vector<std::string>& command);

// The same with a terminal as its three streams; `out` is what it showed there.
Finished RunOnTerminal(const std::vector<std::string>& command);

// Whether a program of that name is in the path.
bool HasProgram(const std::string& name);

}  // namespace support
