// clipchain check IN…: says whether clips can be merged in that order, and what one would regret.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/commands/missing_names.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/check_output.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/terminal/clip_progress.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"

namespace clipchain {

namespace {

struct CheckCommand {
  std::vector<std::string> inputs;
  CheckOptions check;
  bool json = false;
  bool quiet = false;
};

CheckReport CheckWithProgress(const CheckCommand& options) {
  ProgressLine line(stderr, options.quiet);
  CheckOptions check = options.check;
  check.progress = ClipProgress("checking", line);
  return Check(options.inputs, check);
}

// Mistyped names stand where every command tells of them, and not with what was found.
std::string TextOf(const CheckCommand& options, const CheckReport& report) {
  const Findings missing = MissingNames(options.inputs);
  PrintMissingNames(missing);
  Findings listed = report.findings;
  std::erase_if(listed, [&missing](const Finding& finding) {
    return finding.message == Message::kInputUnreadable &&
           std::any_of(missing.begin(), missing.end(),
                       [&finding](const Finding& name) { return name.path == finding.path; });
  });
  // Notes and the summary are what --quiet is to keep away; what would be regretted is not.
  if (options.quiet) return FindingsText(Grave(listed), Paint(stdout));
  return CheckText(options.inputs, report, listed, Paint(stdout));
}

int Run(const CheckCommand& options) {
  NoteStopSignals();
  const CheckReport report = CheckWithProgress(options);
  Print(options.json ? CheckJson(options.inputs, options.check, report) : TextOf(options, report));
  return HoldsUp(report.findings, false) ? kFailed : kDone;
}

}  // namespace

void AddCheckCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<CheckCommand>();
  CLI::App* command = tool.add_subcommand(
      "check",
      "Say whether clips can be merged in the order given, and if not, everything that "
      "speaks against it; nothing is written");
  command->add_option("IN", options->inputs, "The clips of one recording")
      ->required()
      ->type_name("IN");
  MustBeGiven(command->add_option(
                  "-o,--output", options->check.output,
                  "Look at the place of the output too: the folder, its free space, its name"))
      ->type_name("OUT");
  command->add_flag("--overwrite", options->check.overwrite, "OUT may exist");
  AddMemoryLimit(*command, options->check.memoryLimit);
  AddFitting(*command, options->check.fitting);
  AddQuiet(*command, options->quiet);
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
