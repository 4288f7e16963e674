// clipchain split OUT: makes the clips of a merged file again.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/output/proof_output.h"
#include "clipchain/terminal/progress_line.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/keeping/proof_json.h"
#include "workflow/split.h"

namespace clipchain {

namespace {

struct SplitCommand {
  std::string merged;
  SplitOptions split;
  bool quiet = false;
  bool json = false;
};

int Run(const SplitCommand& command) {
  NoteStopSignals();
  SplitReport report;
  {
    // In a scope of its own: the line is gone before the report is printed.
    ProgressLine line(stderr, command.quiet);
    SplitOptions options = command.split;
    options.progress = [&line](const Step& step) {
      CopyState state;
      state.clip = static_cast<unsigned int>(step.clip) + 1;
      state.clips = static_cast<unsigned int>(step.clips);
      state.done = step.current;
      state.total = step.total;
      line.Show(state);
      return StopSignal() == 0;
    };
    report = Split(command.merged, options);
  }
  if (command.json) {
    Print(JsonText(SplitJson(command.merged, report)));
  } else {
    Print(SplitText(report));
    std::fputs(FindingsText(report.findings, Paint(stderr)).c_str(), stderr);
  }
  if (report.done) return kDone;
  return report.partly ? kIncomplete : kFailed;
}

}  // namespace

void AddSplitCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<SplitCommand>();
  CLI::App* command = tool.add_subcommand(
      "split",
      "Make the clips of a merged file again, byte for byte, from its archive of originals");
  command
      ->add_option("OUT", options->merged,
                   "A file that was merged with --originals; OUT.originals lies beside it")
      ->required()
      ->type_name("OUT");
  MustBeGiven(command->add_option("-o,--output", options->split.folder,
                                  "The folder for the clips, which is created if it is missing; "
                                  "without it, one of the name of OUT beside it"))
      ->type_name("DIR");
  AddQuietAnswer(*command, options->quiet);
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
