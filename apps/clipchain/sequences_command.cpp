// clipchain sequences PATH…: tells which clips form one recording.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/sequences_output.h"
#include "clipchain/tool.h"

namespace clipchain {

namespace {

struct SequencesOptions {
  std::vector<std::string> paths;
  ScanOptions scan;
  bool json = false;
};

int Run(const SequencesOptions& options) {
  const FoundClips found = FindClips(options.paths);
  const ScanReport report = Scan(found.volumes, options.scan);
  const auto print = options.json ? SequencesJson : SequencesTable;
  std::fputs(print(found, report, options.scan).c_str(), stdout);
  const bool whole = found.unreadable.empty() && report.rejected.empty() &&
                     report.salvaged == S_OK && report.divided == S_OK;
  return whole ? kDone : kIncomplete;
}

}  // namespace

void AddSequencesCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<SequencesOptions>();
  CLI::App* command =
      tool.add_subcommand("sequences", "Tell which clips form one recording, and in what order");
  command
      ->add_option("paths", options->paths,
                   "Clips, and folders to search for *.mp4, *.m4v and *.mov; each folder counts as "
                   "a volume of its own")
      ->required()
      ->type_name("PATH");
  command->add_flag("--salvage", options->scan.salvage,
                    "Join two remaining sequences if the timecode of one runs on from the other's");
  command->add_flag("--divide", options->scan.divide,
                    "Cut sequences where the volume changes, sparing the first one that has two");
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
