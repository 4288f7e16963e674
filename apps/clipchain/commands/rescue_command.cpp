// clipchain rescue BROKEN -o OUT: makes a clip whole again whose movie box was lost.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/commands/missing_names.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/output/rescue_output.h"
#include "clipchain/terminal/paint.h"
#include "clipchain/terminal/rescue_progress.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/rescue.h"

namespace clipchain {

namespace {

struct RescueCommand {
  std::string broken;
  RescueOptions rescue;
  bool quiet = false;
  bool json = false;
};

// The exit code.
int Tell(const RescueCommand& command, const RescueReport& report, double seconds) {
  if (command.json) {
    Print(RescueJson(command.broken, command.rescue.output, report, seconds));
  } else {
    std::fputs(FindingsText(report.findings, Paint(stderr)).c_str(), stderr);
    Print(RescueText(command.broken, command.rescue.output, report));
  }
  return report.done ? kDone : kFailed;
}

int Run(const RescueCommand& command) {
  NoteStopSignals();
  ProgressLine line(stderr, command.quiet);
  std::vector<std::string> named = {command.broken};
  // A mistyped clip to learn from would pass for one that teaches nothing.
  named.insert(named.end(), command.rescue.references.begin(), command.rescue.references.end());
  RescueReport missing;
  missing.findings = MissingNames(named);
  if (!missing.findings.empty()) return Tell(command, missing, line.Seconds());
  RescueProgress progress(line);
  RescueOptions options = command.rescue;
  options.progress = [&](const RescueStep& step) { return progress.Show(step); };
  const RescueReport report = Rescue(command.broken, options);
  line.Clear();
  return Tell(command, report, line.Seconds());
}

}  // namespace

void AddRescueCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<RescueCommand>();
  CLI::App* command = tool.add_subcommand(
      "rescue", "Make a clip whole again whose movie box was lost, by what intact clips teach");
  command->add_option("BROKEN", options->broken, "The broken clip; it is only read")
      ->required()
      ->type_name("BROKEN");
  MustBeGiven(command->add_option("-o,--output", options->rescue.output, "The file to write"))
      ->required()
      ->type_name("OUT");
  command
      ->add_option("--like", options->rescue.references,
                   "An intact clip of the same camera to learn from, the most alike first; those "
                   "beside BROKEN are tried if none is given")
      ->allow_extra_args(false)
      ->type_name("CLIP");
  command->add_flag("--overwrite", options->rescue.overwrite,
                    "Replace OUT once the new file is complete");
  AddVerify(*command, options->rescue.verification,
            "What is compared with BROKEN before OUT gets its name: the ends of each part "
            "(seams), or every byte, read back from the disk (full)");
  AddQuietAnswer(*command, options->quiet);
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
