// Options that all commands that merge have.
#pragma once

#include <string>

#include "workflow/safe_merge.h"

namespace CLI {
class App;
}

namespace clipchain {

struct MergeSettings {
  bool force = false;
  std::string verify = "seams";  // or "full"
  long long memoryLimit = 0;     // bytes; 0: half of the machine's memory

  Verification Level() const {
    return verify == "full" ? Verification::kFull : Verification::kSeams;
  }
};

// --force, --verify and --memory-limit. The settings must live as long as the command.
void AddMergeSettings(CLI::App& command, MergeSettings& settings);

// --memory-limit alone.
void AddMemoryLimit(CLI::App& command, long long& limit);

}  // namespace clipchain
