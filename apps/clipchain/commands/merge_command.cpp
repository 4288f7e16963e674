// clipchain merge -o OUT IN…: puts clips together into one file.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
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
#include "workflow/stream_merge.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

struct MergeOptions {
  std::vector<std::string> inputs;
  SafeMergeOptions merge;
  KeepOptions keep;
  // In place of inputs and output.
  std::vector<std::string> job;
  bool sort = false;
  bool removeLeftovers = false;
  bool quiet = false;
  bool json = false;
};

// Standard output in place of a file.
constexpr const char* kStream = "-";

constexpr const char* kStandardOutput = "standard output";

bool IsStream(const MergeOptions& options) { return options.merge.check.output == kStream; }

std::string ReportJson(const MergeOptions& options, const JobResult& result, double seconds) {
  const SafeMergeReport& report = result.merge;
  Json document;
  SetPath(document, options.merge.check.output);
  document["done"] = report.done;
  document["already"] = result.already;
  document["clips"] = options.inputs.size();
  document["size"] = report.size;
  document["shared"] = report.shared;
  document["seconds"] = seconds;
  // What is there already was compared from its first byte to its last, whatever was asked for.
  document["verified"] = result.already ? "full" : VerificationName(options.merge.verification);
  document["result"] = ResultName(report.result);
  document["adaptations"] = AdaptationsJson(report.adaptations);
  document["findings"] = FindingsJson(report.findings);
  return JsonText(document);
}

std::string SharedText(const SafeMergeReport& report) {
  if (report.shared == 0) return "";
  return fmt::format("  shared with the clips: {}\n", FormatBytes(report.shared));
}

// What a merge that failed leaves; nothing where a finding says more.
std::string FailureText(const MergeOptions& options, const SafeMergeReport& report) {
  const bool force = options.merge.force;
  const bool isThere = report.size > 0;
  if (isThere)
    return IsStream(options) ? "what was written is no complete file, and of no use\n" : "";
  // Only where --force would help: what the engine refuses stays refused with it.
  const bool mayGoOn = !force && HoldsUp(report.findings, false) && !HoldsUp(report.findings, true);
  return mayGoOn ? "nothing was written; --force goes on anyway\n" : "nothing was written\n";
}

void PrintReport(const MergeOptions& options, const JobResult& result, double seconds) {
  const SafeMergeReport& report = result.merge;
  // Where the result itself goes to standard output nothing else does.
  const auto print = [&options](const std::string& text) {
    if (IsStream(options)) {
      std::fputs(text.c_str(), stderr);
    } else {
      Print(text);
    }
  };
  if (options.json) {
    print(ReportJson(options, result, seconds));
    return;
  }
  std::fputs(
      FindingsText(options.quiet ? Grave(report.findings) : report.findings, Paint(stderr)).c_str(),
      stderr);
  if (!report.done) {
    std::fputs(FailureText(options, report).c_str(), stderr);
    return;
  }
  if (options.quiet) return;
  if (result.already) {
    print(fmt::format("{} is there already, {}\n", PrintablePath(options.merge.check.output),
                      FormatBytes(report.size)));
    return;
  }
  const std::size_t clips = options.inputs.size();
  const std::string name =
      IsStream(options) ? kStandardOutput : PrintablePath(options.merge.check.output);
  print(fmt::format("merged {} into {}: {} in {:.2f} s\n", Counted(clips, "clip"), name,
                    FormatBytes(report.size), seconds) +
        SharedText(report) + AdaptationsText(report.adaptations, "  adapted", clips));
}

// The clips in the order in which they were recorded; what keeps them from it.
Findings Sort(std::vector<std::string>& inputs) {
  ClipOrder order = SortClips(inputs);
  inputs = std::move(order.clips);
  return std::move(order.findings);
}

SafeMergeReport MergeIntoStream(const MergeOptions& options, const SafeMergeOptions& merge) {
  StreamOptions stream;
  stream.check = merge.check;
  // For messages alone: a file named "-" in this folder is not what is written.
  stream.check.output = kStandardOutput;
  stream.force = options.merge.force;
  stream.descriptor = STDOUT_FILENO;
  return StreamMerge(options.inputs, stream);
}

JobResult MergeInto(const MergeOptions& options, const SafeMergeOptions& merge, const Job& job) {
  if (!options.job.empty()) return MergeJob(job, merge, options.keep);
  if (IsStream(options)) return {MergeIntoStream(options, merge), false};
  return {SafeMerge(options.inputs, merge), false};
}

int Run(MergeOptions options) {
  NoteStopSignals();
  Job job;
  if (!options.job.empty()) {
    if (const std::optional<Finding> fault = FindJob(options.job, job)) {
      JobResult none;
      none.merge.findings = {*fault};
      PrintReport(options, none, 0);
      return kFailed;
    }
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
  // A job of a plan makes its own, for the clips that the plan names.
  const auto companion = options.keep.Any() ? MakeCompanion(options.keep) : nullptr;
  merge.companion = companion.get();
  merge.removeLeftover = LeftoverQuestion(options.removeLeftovers, options.json, line);
  const JobResult result = MergeInto(options, merge, job);
  line.Clear();
  PrintReport(options, result, line.Seconds());
  return result.merge.done ? kDone : kFailed;
}

// What a result that nobody can read back, replace or name can't be combined with.
void CheckStream(const MergeOptions& options) {
  const auto refuse = [](const char* option, const char* why) {
    throw CLI::ValidationError(fmt::format("{} {}", option, why));
  };
  constexpr const char* kNoFile = "needs a file for a result; -o - makes none";
  if (options.merge.check.overwrite) refuse("--overwrite", kNoFile);
  if (options.removeLeftovers) refuse("--remove-leftovers", kNoFile);
  if (options.keep.originals) refuse("--originals", kNoFile);
  if (options.keep.checksums) refuse("--checksums", kNoFile);
  if (options.merge.reflink != Reflink::kNever) refuse("--reflink", kNoFile);
  if (options.merge.verification == Verification::kFull)
    refuse("--verify=full", "reads the result again; nobody can read again what -o - writes");
  // A closed one would give its number to the first clip that is opened.
  if (!HasStandardOutput()) refuse("-o -", "needs a standard output, which is closed");
  // Media would be taken for escape sequences there.
  if (::isatty(STDOUT_FILENO) == 1)
    refuse("-o -", "writes the result to standard output, which is a terminal");
}

}  // namespace

void AddMergeCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<MergeOptions>();
  CLI::App* command = tool.add_subcommand(
      "merge", "Put clips together into one file, in the order given, without re-encoding");
  CLI::Option* output =
      MustBeGiven(command->add_option(
                      "-o,--output", options->merge.check.output,
                      "The file to write, or - for standard output; required without --job"))
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
      // The parser knows none that is required only where another is missing.
      if (options->job.empty() && option->empty()) throw CLI::RequiredError(option->get_name());
    }
    if (options->job.empty() && IsStream(*options)) CheckStream(*options);
    exitCode = Run(*options);
  });
}

}  // namespace clipchain
