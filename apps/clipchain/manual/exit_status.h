// Tells what each command ends with. The manual pages have it from here, and tests let the commands
// end with every code that stands here.
#pragma once

#include <span>
#include <string_view>

namespace clipchain {

struct ExitStatus {
  // "merge"; empty for the tool itself.
  std::string_view command;
  int code;
  // Sentences.
  std::string_view text;
};

// Command by command, each with its codes in ascending order.
std::span<const ExitStatus> ExitStatuses();

}  // namespace clipchain
