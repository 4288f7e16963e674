#include "clipchain/tool.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <sstream>
#include <string_view>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/heap.h"
#include "clipchain/manual/command_words.h"
#include "clipchain/manual/help_text.h"
#include "clipchain/manual/usage.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

void AddCommands(CLI::App& tool, int& exitCode) {
  tool.set_help_flag("-h,--help", "Print this help and exit");
  tool.set_version_flag("--version", "clipchain " CLIPCHAIN_VERSION, "Print the version and exit");
  tool.require_subcommand(1);
  AddMergeCommand(tool, exitCode);
  AddCheckCommand(tool, exitCode);
  AddJoinCommand(tool, exitCode);
  AddRescueCommand(tool, exitCode);
  AddSequencesCommand(tool, exitCode);
  AddInfoCommand(tool, exitCode);
  AddVerifyCommand(tool, exitCode);
  AddSplitCommand(tool, exitCode);
  AddExplainCommand(tool, exitCode);
  for (CLI::App* const command : tool.get_subcommands(nullptr)) {
    for (CLI::Option* const option : command->get_options()) {
      if (option->get_positional()) MustBeGiven(option);
    }
  }
  AddHelp(tool);
}

namespace {

// "help" in front of a command is its --help, whatever follows, and alone that of the tool. What is
// no command stays one that there is not.
std::vector<const char*> Arguments(const CLI::App& tool, int argc, const char* const* argv) {
  std::vector<const char*> arguments(argv, argv + argc);
  if (argc < 2 || std::string_view(argv[1]) != "help") return arguments;
  arguments.erase(arguments.begin() + 1);
  const std::vector<CommandWords> commands = DescribeCommands(tool);
  if (argc == 2 || std::any_of(commands.begin(), commands.end(),
                               [argv](const CommandWords& words) { return words.name == argv[2]; }))
    arguments.push_back("--help");
  return arguments;
}

int Run(int argc, const char* const* argv) {
  int exitCode = kDone;
  CLI::App tool(kToolText, "clipchain");
  AddCommands(tool, exitCode);
  const std::vector<const char*> arguments = Arguments(tool, argc, argv);
  const int count = static_cast<int>(arguments.size());
  try {
    tool.parse(count, arguments.data());
  } catch (const CLI::ParseError& error) {
    // Help and version come this way too, with an exit code of 0.
    std::ostringstream text;
    if (tool.exit(error, text, text) == 0) {
      Print(text.str());
      return kDone;
    }
    std::fputs(UsageText(tool, error, count, arguments.data()).c_str(), stderr);
    return kUsage;
  }
  return exitCode;
}

}  // namespace

int RunTool(int argc, const char* const* argv) {
  PrepareHeap();
  KeepStandardStreams();
  TakeWriteSignalsAsErrors();
  try {
    const int exitCode = Run(argc, argv);
    if (exitCode != kDone) DieOfStopSignal();
    return EndOutput(exitCode);
  } catch (const std::bad_alloc&) {
    std::fputs("clipchain: there is not enough memory\n", stderr);
    return kFailed;
  } catch (const std::exception& error) {
    std::fputs(fmt::format("clipchain: {}\n", error.what()).c_str(), stderr);
    return kFailed;
  }
}

}  // namespace clipchain
