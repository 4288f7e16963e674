#include "clipchain/commands/merge_options.h"

#include <CLI/CLI.hpp>
#include <string>

namespace clipchain {

void AddMergeSettings(CLI::App& command, SafeMergeOptions& options) {
  command.add_flag("--force", options.force,
                   "Go on in spite of problems, which may damage the result but no clip");
  command
      .add_option_function<std::string>(
          "--verify",
          [&options](const std::string& level) {
            options.verification = level == "full" ? Verification::kFull : Verification::kSeams;
          },
          "What is compared with the clips before the result gets its name: the samples "
          "where clips meet (seams), or every byte, read back from the disk (full)")
      ->check([](const std::string& level) {
        return level == "seams" || level == "full" ? ""
                                                   : "takes seams or full, not \"" + level + '"';
      })
      ->option_text("seams|full")
      ->default_str("seams");
  AddMemoryLimit(command, options.check.memoryLimit);
}

const char* VerificationName(Verification verification) {
  return verification == Verification::kFull ? "full" : "seams";
}

void AddMemoryLimit(CLI::App& command, long long& limit) {
  command
      .add_option("--memory-limit", limit,
                  "What the clips' tables may take, such as 500M; half of the machine's memory if "
                  "it is not given")
      ->transform(CLI::AsSizeValue(true))
      ->check([](const std::string& size) {
        return size == "0" || size[0] == '-' ? "must be more than 0" : "";
      })
      ->option_text("SIZE");
}

}  // namespace clipchain
