// clipchain join PATH… -o DIR: merges each recording that lies in folders or on cards.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/commands/missing_names.h"
#include "clipchain/commands/page_option.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/output/join_output.h"
#include "clipchain/output/proposal_question.h"
#include "clipchain/terminal/clip_progress.h"
#include "clipchain/terminal/join_progress.h"
#include "clipchain/terminal/leftover_question.h"
#include "clipchain/terminal/rescue_progress.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/findings/clip_words.h"
#include "workflow/html_join.h"
#include "workflow/join.h"
#include "workflow/joining/rescued_clips.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/plan.h"
#include "workflow/plan_file.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

struct JoinCommand {
  std::vector<std::string> paths;
  PlanOptions plan;
  JoinOptions join;
  std::string planFile;
  bool rescue = false;
  bool removeLeftovers = false;
  bool dryRun = false;
  bool quiet = false;
  bool json = false;
  std::string accept;
  bool ask = false;
  std::string html;
};

int Fail(const Finding& finding) {
  std::fputs(FindingText(finding, Paint(stderr)).c_str(), stderr);
  return kFailed;
}

std::size_t CountJobs(const JoinPlan& plan) {
  return static_cast<std::size_t>(
      std::count_if(plan.jobs.begin(), plan.jobs.end(),
                    [](const Job& job) { return job.leftOut == LeftOut::kNo; }));
}

std::vector<std::string> OutputsOf(const JoinPlan& plan) {
  std::vector<std::string> outputs;
  for (const Job& job : plan.jobs) {
    if (job.leftOut == LeftOut::kNo) outputs.push_back(job.output);
  }
  return outputs;
}

// Writes the page of what was planned or done; the exit code, which is no better than `code`.
int WithPage(const JoinCommand& command, const JoinPlan& plan, const JoinReport* report, int code) {
  if (command.html.empty()) return code;
  const HtmlJoinOptions page{command.plan.folder, FolderOf(command.html), MadeWords()};
  if (WritePage(command.html, HtmlJoin(plan, report, page), false) == kDone) return code;
  // The recordings are joined: without the page it is not all done, and not failed either.
  return code == kDone ? kIncomplete : code;
}

int PlanCode(const JoinPlan& plan) {
  // A card that is not mounted must not look like one that is done.
  if (plan.jobs.empty()) return kFailed;
  return LeavesOut(plan) ? kIncomplete : kDone;
}

void PrintPlan(const JoinCommand& command, const JoinPlan& plan) {
  const std::string text = command.json ? JoinJson(plan, nullptr) : PlanTable(plan, Paint(stdout));
  Print(text);
}

// What stands in no table where nothing else is printed.
template <class Jobs>
void PrintGrave(const JoinPlan& plan, const Jobs& jobs) {
  std::string text;
  for (const auto& job : jobs) text += FindingsText(Grave(job.findings), Paint(stderr));
  text += FindingsText(Grave(plan.findings), Paint(stderr));
  // With --quiet nothing else would say why the exit code is 1.
  if (plan.jobs.empty()) text += "clipchain: there are no clips\n";
  std::fputs(text.c_str(), stderr);
}

int WriteJobs(const JoinCommand& command, JoinPlan plan) {
  const int planned = PlanCode(plan);
  ProgressLine line(stderr, command.quiet);
  // The plan gets its name as a result does, and may have left a hidden file if it was killed.
  const auto remove = LeftoverQuestion(command.removeLeftovers, command.json, line);
  for (const Finding& finding : LookForLeftovers(command.planFile, remove))
    plan.findings.push_back(finding);
  if (const std::optional<Finding> fault = WritePlan(plan, command.planFile)) return Fail(*fault);
  const int code = WithPage(command, plan, nullptr, planned);
  if (command.quiet && !command.json) {
    PrintGrave(plan, plan.jobs);
    return code;
  }
  PrintPlan(command, plan);
  if (!command.json) {
    const std::size_t jobs = CountJobs(plan);
    Print(fmt::format("\n{} in {}\n", Counted(jobs, "job"), PrintablePath(command.planFile)));
  }
  return code;
}

int RunJobs(const JoinCommand& command, const JoinPlan& plan) {
  if (!command.json && !command.quiet) {
    PrintPlan(command, plan);
    // What stands in the buffer would come behind the progress of hours.
    FlushOutput();
  }
  ProgressLine line(stderr, command.quiet);
  JoinProgress progress(OutputsOf(plan), line);
  JoinOptions options = command.join;
  options.merge.check.progress = [&](const Step& step) { return progress.Show(step); };
  options.merge.removeLeftover = LeftoverQuestion(command.removeLeftovers, command.json, line);
  const JoinReport report = Join(plan, options);
  line.Clear();
  if (command.quiet && !command.json)
    PrintGrave(plan, report.jobs);
  else
    Print(command.json ? JoinJson(plan, &report)
                       : JoinTable(plan, report, command.plan.folder, Paint(stdout)));
  const bool whole = std::all_of(report.jobs.begin(), report.jobs.end(), [](const JobReport& job) {
    return job.outcome != Outcome::kFailed && job.outcome != Outcome::kNotRun;
  });
  return WithPage(command, plan, &report, whole ? PlanCode(plan) : kIncomplete);
}

JoinPlan MakePlan(const JoinCommand& command) {
  ProgressLine line(stderr, command.quiet);
  PlanOptions options = command.plan;
  options.accept = GradeOfName(command.accept);
  if (command.ask) options.ask = ProposalQuestion(line);
  options.progress = ClipProgress("looking at", line);
  if (!command.rescue) return PlanFor(command.paths, options);
  RescueProgress progress(line);
  return PlanWithRescued(command.paths,
                         {options, [&](const RescueStep& step) { return progress.Show(step); }});
}

int FailNames(const JoinCommand& command, const Findings& missing) {
  JoinPlan plan;
  plan.findings = missing;
  if (command.json)
    Print(JoinJson(plan, nullptr));
  else
    PrintMissingNames(missing);
  return kFailed;
}

int Run(const JoinCommand& command) {
  NoteStopSignals();
  if (const Findings missing = MissingNames(command.paths); !missing.empty())
    return FailNames(command, missing);
  JoinPlan plan = MakePlan(command);
  if (StopSignal() != 0) return kFailed;
  if (!command.html.empty()) {
    // Ahead of hours of copying that would end without the page.
    if (const Reason why = WhyNoPage(command.html, plan)) return FailPage(command.html, *why);
  }
  if (command.dryRun) {
    PrintPlan(command, plan);
    return WithPage(command, plan, nullptr, PlanCode(plan));
  }
  if (!command.planFile.empty()) return WriteJobs(command, std::move(plan));
  // Where nothing is to be joined no empty folder is left.
  if (CountJobs(plan) != 0) {
    if (const std::optional<Finding> fault = MakeFolder(command.plan.folder)) return Fail(*fault);
  }
  return RunJobs(command, plan);
}

// What is joined by evidence; answers the option that needs a terminal.
CLI::Option* AddEvidenceOptions(CLI::App& command, JoinCommand& options) {
  MustBeGiven(command.add_option(
                  "--accept", options.accept,
                  "Join clips without identifiers, too, where the evidence for a recording is of "
                  "that grade or a higher one (certain is the highest); without it nothing is "
                  "joined by evidence"))
      ->option_text("certain|likely|possible")
      ->check([](const std::string& grade) {
        return GradeOfName(grade) ? "" : "takes certain, likely or possible, not \"" + grade + '"';
      });
  return command.add_flag(
      "--ask", options.ask,
      "Show each recording that the evidence of clips proposes, on a terminal, and ask about it");
}

}  // namespace

void AddJoinCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<JoinCommand>();
  CLI::App* command =
      tool.add_subcommand("join", "Merge each recording of a card into a file of its own");
  command
      ->add_option("PATH", options->paths,
                   "Folders to search for *.mp4, *.m4v and *.mov, each one a card of its own, and "
                   "clips")
      ->required()
      ->type_name("PATH");
  MustBeGiven(command->add_option(
                  "-o,--output", options->plan.folder,
                  "The folder for the results, which is created if it is missing and not searched"))
      ->required()
      ->type_name("DIR");
  command->add_flag("--all", options->plan.all, "Put recordings of a single clip there, too");
  command->add_flag("--incomplete", options->plan.incomplete,
                    "Join what there is of recordings of which a clip is missing");
  CLI::Option* rescue = command->add_flag(
      "--rescue", options->rescue,
      "Rescue broken clips into DIR/rescued first, and join recordings with what was found");
  CLI::Option* ask = AddEvidenceOptions(*command, *options);
  CLI::Option* dryRun =
      command->add_flag("--dry-run", options->dryRun, "Show what would be done, and do nothing");
  // To know what a rescue finds it has to be done.
  rescue->excludes(dryRun);
  MustBeGiven(command->add_option(
                  "--plan", options->planFile,
                  "Write what would be done to a new file, from which \"clipchain merge --job FILE "
                  "N\" merges recording N"))
      ->type_name("FILE")
      ->excludes(dryRun);
  command->add_flag("--update", options->join.update,
                    "Replace results that hold a part of a recording once more of it is joined");
  AddMergeSettings(*command, options->join.merge);
  AddKeepSettings(*command, options->join.keep);
  command->add_flag("--remove-leftovers", options->removeLeftovers,
                    "Remove what merges to the same files that were killed have left behind");
  MustBeGiven(command->add_option(
                  "--html", options->html,
                  "Write a page that shows the plan and what came of it, which must not exist yet"))
      ->type_name("FILE");
  AddQuiet(*command, options->quiet);
  command->add_flag("--json", options->json, "Print for programs")->excludes(ask);
  command->callback([options, &exitCode] {
    if (options->ask && !IsOnTerminal())
      throw CLI::ValidationError("--ask needs a terminal; --accept needs none");
    exitCode = Run(*options);
  });
}

}  // namespace clipchain
