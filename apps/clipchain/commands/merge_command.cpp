// clipchain merge -o OUT IN…: puts clips together into one file.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/job_option.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/adaptation_output.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/terminal/leftover_question.h"
#include "clipchain/terminal/merge_progress.h"
#include "clipchain/terminal/paint.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/clip_order.h"
#include "workflow/clips/clip_json.h"
#include "workflow/findings/clip_words.h"
#include "workflow/safe_merge.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

struct MergeOptions {
  std::vector<std::string> inputs;
  SafeMergeOptions merge;
  KeepOptions keep;
  std::vector<std::string> job;  // in place of inputs and output
  bool sort = false;
  bool removeLeftovers = false;
  bool quiet = false;
  bool json = false;
};

std::string ReportJson(const MergeOptions& options, const JobResult& result, double seconds) {
  const SafeMergeReport& report = result.merge;
  Json document;
  SetPath(document, options.merge.check.output);
  document["done"] = report.done;
  document["already"] = result.already;
  document["clips"] = options.inputs.size();
  document["size"] = report.size;
  document["seconds"] = seconds;
  document["verified"] = result.already ? "full" : VerificationName(options.merge.verification);
  document["result"] = ResultName(report.result);
  document["adaptations"] = AdaptationsJson(report.adaptations);
  document["findings"] = FindingsJson(report.findings);
  return JsonText(document);
}

// What a merge that failed leaves; nothing where a finding says more.
std::string FailureText(const SafeMergeReport& report, bool force) {
  const bool isThere = report.size > 0;
  if (isThere) return "";
  const bool mayGoOn = !force && HoldsUp(report.findings, false) && !HoldsUp(report.findings, true);
  return mayGoOn ? "nothing was written; --force goes on anyway\n" : "nothing was written\n";
}

void PrintReport(const MergeOptions& options, const JobResult& result, double seconds) {
  const SafeMergeReport& report = result.merge;
  if (options.json) {
    Print(ReportJson(options, result, seconds));
    return;
  }
  std::fputs(
      FindingsText(options.quiet ? Grave(report.findings) : report.findings, Paint(stderr)).c_str(),
      stderr);
  if (!report.done) {
    std::fputs(FailureText(report, options.merge.force).c_str(), stderr);
    return;
  }
  if (options.quiet) return;
  if (result.already) {
    Print(fmt::format("{} is there already, {}\n", Shown(options.merge.check.output),
                      Amount(report.size)));
    return;
  }
  const std::size_t clips = options.inputs.size();
  Print(fmt::format("merged {} {} into {}: {} in {:.2f} s\n", clips, clips == 1 ? "clip" : "clips",
                    Shown(options.merge.check.output), Amount(report.size), seconds) +
        AdaptationsText(report.adaptations, "  adapted", clips));
}

// The clips in the order in which they were recorded; what keeps them from it.
Findings Sort(std::vector<std::string>& inputs) {
  ClipOrder order = SortClips(inputs);
  inputs = std::move(order.clips);
  return std::move(order.findings);
}

int Run(MergeOptions options) {
  NoteStopSignals();
  Job job;
  if (!options.job.empty()) {
    if (!FindJob(options.job, job)) return kFailed;
    options.inputs = job.inputs;
    options.merge.check.output = job.output;
  }
  if (options.sort) {
    JobResult unsorted;
    unsorted.merge.findings = Sort(options.inputs);
    if (!unsorted.merge.findings.empty()) {
      PrintReport(options, unsorted, 0);
      return kFailed;
    }
  }
  ProgressLine line(stderr, options.quiet);
  MergeProgress progress(options.inputs.size(), line);
  SafeMergeOptions merge = options.merge;
  merge.check.progress = [&](const Step& step) { return progress.Show(step); };
  const auto companion = options.keep.Any() ? MakeCompanion(options.keep) : nullptr;
  merge.companion = companion.get();
  merge.removeLeftover = LeftoverQuestion(options.removeLeftovers, options.json, line);
  const JobResult result = options.job.empty() ? JobResult{SafeMerge(options.inputs, merge), false}
                                               : MergeJob(job, merge, options.keep);
  line.Clear();
  PrintReport(options, result, line.Seconds());
  return result.merge.done ? kDone : kFailed;
}

}  // namespace

void AddMergeCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<MergeOptions>();
  CLI::App* command = tool.add_subcommand(
      "merge", "Put clips together into one file, in the order given, without re-encoding");
  CLI::Option* output =
      MustBeGiven(command->add_option("-o,--output", options->merge.check.output,
                                      "The file to write; required without --job"))
          ->type_name("OUT");
  CLI::Option* clips =
      command
          ->add_option("IN", options->inputs, "The clips of one recording; required without --job")
          ->type_name("IN");
  CLI::Option* overwrite = command->add_flag("--overwrite", options->merge.check.overwrite,
                                             "Replace OUT once the new file is complete");
  CLI::Option* sort =
      command->add_flag("--sort", options->sort,
                        "Put the clips in the order in which they were recorded, if they tell it");
  CLI::Option* job = AddJobOption(*command, options->job);
  for (CLI::Option* option : {output, clips, overwrite, sort}) job->excludes(option);
  AddMergeSettings(*command, options->merge);
  AddKeepSettings(*command, options->keep);
  command->add_flag("--remove-leftovers", options->removeLeftovers,
                    "Remove what merges to OUT that were killed have left behind");
  AddQuiet(*command, options->quiet);
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, output, clips, &exitCode] {
    for (const CLI::Option* option : {output, clips}) {
      if (options->job.empty() && option->empty()) throw CLI::RequiredError(option->get_name());
    }
    exitCode = Run(*options);
  });
}

}  // namespace clipchain
