// clipchain merge -o OUT IN…: puts clips together into one file.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/finding_output.h"
#include "clipchain/merge_progress.h"
#include "clipchain/paint.h"
#include "clipchain/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/clip_json.h"
#include "workflow/clip_words.h"
#include "workflow/files.h"
#include "workflow/safe_merge.h"

namespace clipchain {

namespace {

struct MergeOptions {
  std::vector<std::string> inputs;
  SafeMergeOptions merge;
  std::string verify = "seams";
  bool removeLeftovers = false;
  bool json = false;
};

bool IsOnTerminal() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

// "y" or "yes" removes it; anything else, the end of the input or a signal does not.
bool AskToRemove(const Leftover& leftover) {
  std::fputs(fmt::format("{} was left behind by a merge that was killed, with {} in it. Remove it? "
                         "[y/N] ",
                         Shown(leftover.path), Amount(leftover.size))
                 .c_str(),
             stderr);
  std::string answer;
  for (char c = 0; WaitForInput() && ::read(STDIN_FILENO, &c, 1) == 1 && c != '\n';) answer += c;
  return answer == "y" || answer == "yes";
}

std::string ReportJson(const MergeOptions& options, const SafeMergeReport& report, double seconds) {
  Json document;
  SetPath(document, options.merge.output);
  document["done"] = report.done;
  document["clips"] = options.inputs.size();
  document["size"] = report.size;
  document["seconds"] = seconds;
  document["verified"] = options.verify;
  document["result"] = ResultName(report.result);
  document["findings"] = FindingsJson(report.findings);
  return JsonText(document);
}

void PrintReport(const MergeOptions& options, const SafeMergeReport& report, double seconds) {
  if (options.json) {
    std::fputs(ReportJson(options, report, seconds).c_str(), stdout);
    return;
  }
  std::fputs(FindingsText(report.findings, Paint(stderr)).c_str(), stderr);
  if (!report.done) return;
  const std::size_t clips = options.inputs.size();
  fmt::print("merged {} {} into {}: {} in {:.2f} s\n", clips, clips == 1 ? "clip" : "clips",
             Shown(options.merge.output), Amount(report.size), seconds);
}

int Run(const MergeOptions& options) {
  NoteStopSignals();
  ProgressLine line(stderr);
  MergeProgress progress(options.inputs.size(), line);
  SafeMergeOptions merge = options.merge;
  if (options.verify == "full") merge.verification = Verification::kFull;
  merge.progress = [&](const MergeStep& step) { return progress.Show(step); };
  if (options.removeLeftovers) {
    merge.removeLeftover = [](const Leftover&) { return true; };
  } else if (IsOnTerminal() && !options.json) {
    merge.removeLeftover = [&](const Leftover& leftover) {
      line.Clear();
      return AskToRemove(leftover);
    };
  }
  const SafeMergeReport report = SafeMerge(options.inputs, merge);
  line.Clear();
  PrintReport(options, report, line.Seconds());
  return report.done ? kDone : kFailed;
}

}  // namespace

void AddMergeCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<MergeOptions>();
  CLI::App* command = tool.add_subcommand(
      "merge", "Put clips together into one file, in the order given, without re-encoding");
  command->add_option("-o,--output", options->merge.output, "The file to write")
      ->required()
      ->type_name("OUT");
  command->add_option("clips", options->inputs, "The clips of one recording")
      ->required()
      ->type_name("IN");
  command->add_flag("--overwrite", options->merge.overwrite,
                    "Replace OUT once the new file is complete");
  command->add_flag("--force", options->merge.force,
                    "Go on in spite of problems, which may damage OUT but no clip");
  command
      ->add_option("--verify", options->verify,
                   "What is compared with the clips before OUT gets its name: the samples where "
                   "clips meet (seams), or every byte, read back from the disk (full)")
      ->check(CLI::IsMember({"seams", "full"}))
      ->option_text("seams|full");
  command
      ->add_option("--memory-limit", options->merge.memoryLimit,
                   "What the clips' tables may take, such as 500M; half of the machine's memory if "
                   "it is not given")
      ->transform(CLI::AsSizeValue(true))
      ->check([](const std::string& size) {
        return size == "0" || size[0] == '-' ? "must be more than 0" : "";
      })
      ->option_text("SIZE");
  command->add_flag("--remove-leftovers", options->removeLeftovers,
                    "Remove what merges to OUT that were killed have left behind");
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
