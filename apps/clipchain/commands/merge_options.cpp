#include "clipchain/commands/merge_options.h"

#include <CLI/CLI.hpp>

namespace clipchain {

void AddMergeSettings(CLI::App& command, MergeSettings& settings) {
  command.add_flag("--force", settings.force,
                   "Go on in spite of problems, which may damage the result but no clip");
  command
      .add_option("--verify", settings.verify,
                  "What is compared with the clips before the result gets its name: the samples "
                  "where clips meet (seams), or every byte, read back from the disk (full)")
      ->check([](const std::string& level) {
        return level == "seams" || level == "full" ? ""
                                                   : "takes seams or full, not \"" + level + '"';
      })
      ->option_text("seams|full")
      ->default_str("seams");
  AddMemoryLimit(command, settings.memoryLimit);
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
