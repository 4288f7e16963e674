// Running the tool that was built.
#pragma once

#include <string>
#include <vector>

#include "support/process.h"

inline std::vector<std::string> ToolCommand(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), CLIPCHAIN_TOOL_PATH);
  return arguments;
}

inline support::Finished Tool(const std::vector<std::string>& arguments) {
  return support::Run(ToolCommand(arguments));
}
