// clipchain info FILE…: tells what clips say about themselves.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/output/info_output.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/checks/unreadable_clip.h"

namespace clipchain {

namespace {

struct InfoCommand {
  std::vector<std::string> paths;
  long long memoryLimit = 0;
  bool tree = false;
  bool json = false;
  bool quiet = false;
};

// Whether the file is a readable clip.
bool Tell(const std::string& path, const InfoCommand& command, InfoOutput& output) {
  ClipInfo info;
  // What a clip says stands ahead of its boxes, and is known when the first of them is found.
  bool begun = false;
  const auto begin = [&] {
    if (!begun) output.Begin(path, info);
    begun = true;
  };
  ClipInfoOptions options;
  options.memoryLimit = command.memoryLimit;
  if (command.tree) {
    options.box = [&](const BoxInfo& box) {
      begin();
      output.Box(box);
      // A file can have millions of boxes, and whoever reads the list may have gone.
      return !OutputFailed() && StopSignal() == 0;
    };
  }
  const HRESULT result = ReadClipInfo(path, info, options);
  if (result != S_OK) {
    output.Unreadable(path, WhyNoClip(path, result, command.memoryLimit));
    return false;
  }
  begin();
  output.EndClip();
  return true;
}

int Run(const InfoCommand& command) {
  NoteStopSignals();
  std::unique_ptr<InfoOutput> output;
  if (command.json)
    output = std::make_unique<InfoJson>(command.tree, command.paths.size());
  else
    output = std::make_unique<InfoText>(command.tree);
  std::size_t readable = 0;
  for (const std::string& path : command.paths) {
    // Whoever read it has gone, as "head" does: no further clip need be opened.
    if (OutputFailed()) break;
    if (StopSignal() != 0) return kFailed;
    if (Tell(path, command, *output)) ++readable;
  }
  output->End();
  if (StopSignal() != 0 || readable == 0) return kFailed;
  return readable == command.paths.size() ? kDone : kIncomplete;
}

}  // namespace

void AddInfoCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<InfoCommand>();
  CLI::App* command = tool.add_subcommand("info", "Tell what clips say about themselves");
  command->add_option("FILE", options->paths, "The clips")->required()->type_name("FILE");
  command->add_flag("--tree", options->tree, "List the boxes with their positions and sizes");
  AddMemoryLimit(*command, options->memoryLimit);
  command->add_flag("--json", options->json, "Print for programs");
  AddQuietAnswer(*command, options->quiet);
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
