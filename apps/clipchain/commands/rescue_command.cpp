// clipchain rescue BROKEN -o OUT: makes a clip whole again whose movie box was lost.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "clipchain/commands.h"
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
  std::string verify = "seams";
  bool json = false;
};

int Run(const RescueCommand& command) {
  NoteStopSignals();
  ProgressLine line(stderr);
  RescueProgress progress(line);
  RescueOptions options = command.rescue;
  options.verification = command.verify == "full" ? Verification::kFull : Verification::kSeams;
  options.progress = [&](const RescueStep& step) { return progress.Show(step); };
  const RescueReport report = Rescue(command.broken, options);
  line.Clear();
  if (command.json) {
    Print(RescueJson(command.broken, options.output, report, line.Seconds()));
  } else {
    std::fputs(FindingsText(report.findings, Paint(stderr)).c_str(), stderr);
    Print(RescueText(command.broken, options.output, report));
  }
  return report.done ? kDone : kFailed;
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
  command
      ->add_option("--verify", options->verify,
                   "What is compared with BROKEN before OUT gets its name: the ends of each part "
                   "(seams), or every byte, read back from the disk (full)")
      ->check([](const std::string& level) {
        return level == "seams" || level == "full" ? ""
                                                   : "takes seams or full, not \"" + level + '"';
      })
      ->option_text("seams|full")
      ->default_str("seams");
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
