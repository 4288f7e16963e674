// clipchain sequences PATH…: tells which clips form one recording.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/missing_names.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/output/sequences_output.h"
#include "clipchain/terminal/clip_progress.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/html_report.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/system/files.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

struct SequencesOptions {
  std::vector<std::string> paths;
  ScanOptions scan;
  bool json = false;
  std::string html;
  bool overwrite = false;
};

int FailPage(const std::string& path, const std::string& why) {
  std::fputs(fmt::format("clipchain: {} {}\n", Shown(path), why).c_str(), stderr);
  return kFailed;
}

// Why the page can't be written, known before any clip is read.
std::string WhyNoPage(const SequencesOptions& options, const FoundClips& found) {
  for (const Volume& volume : found.volumes) {
    for (const std::string& clip : volume.clips) {
      if (IsSameFile(options.html, clip)) return "is the same file as the clip " + Shown(clip);
    }
  }
  if (options.overwrite && Exists(options.html) && !IsHtmlReport(options.html))
    return "is no page of clips, and is not replaced";
  return WhyNoTextFile(options.html, options.overwrite);
}

ScanReport ScanWithProgress(const FoundClips& found, ScanOptions options) {
  ProgressLine line(stderr);
  options.progress = ClipProgress("looking at", line);
  return Scan(found.volumes, options);
}

FoundClips FindWithProgress(const std::vector<std::string>& paths) {
  ProgressLine line(stderr);
  return FindClips(paths, "", ClipProgress("", line));
}

int FailNames(const SequencesOptions& options, const Findings& missing) {
  if (!options.json) {
    PrintMissingNames(missing);
    return kFailed;
  }
  FoundClips found;
  for (const Finding& finding : missing) found.unreadable.push_back({finding.path, finding.text});
  Print(SequencesJson(found, {}, {}, options.scan));
  return kFailed;
}

std::vector<Proposal> ProposeWithProgress(const ScanReport& report) {
  ProgressLine line(stderr);
  ProposeOptions options;
  options.progress = ClipProgress("comparing", line);
  return Propose(report, options);
}

int Run(const SequencesOptions& options) {
  NoteStopSignals();
  if (const Findings missing = MissingNames(options.paths); !missing.empty())
    return FailNames(options, missing);
  const FoundClips found = FindWithProgress(options.paths);
  if (StopSignal() != 0) return kFailed;
  if (!options.html.empty()) {
    const std::string why = WhyNoPage(options, found);
    if (!why.empty()) return FailPage(options.html, why);
  }
  const ScanReport report = ScanWithProgress(found, options.scan);
  if (StopSignal() != 0) return kFailed;
  const std::vector<Proposal> proposals = ProposeWithProgress(report);
  if (StopSignal() != 0) return kFailed;
  const std::string text =
      options.json ? SequencesJson(found, report, proposals, options.scan)
                   : SequencesTable(found, report, proposals, options.scan, Paint(stdout));
  Print(text);
  if (!options.html.empty()) {
    const Findings leftovers = LookForLeftovers(options.html, nullptr, "remove it");
    std::fputs(FindingsText(leftovers, Paint(stderr)).c_str(), stderr);
    const std::string why = WriteTextFile(
        options.html, HtmlReport(found, report, options.scan, proposals), options.overwrite);
    if (!why.empty()) return FailPage(options.html, why);
    if (!options.json) Print(fmt::format("report: {}\n", Shown(options.html)));
  }
  const bool whole = found.unreadable.empty() && report.rejected.empty() &&
                     report.salvaged == S_OK && report.divided == S_OK;
  return whole ? kDone : kIncomplete;
}

}  // namespace

void AddSequencesCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<SequencesOptions>();
  CLI::App* command =
      tool.add_subcommand("sequences", "Tell which clips form one recording, and in what order");
  command
      ->add_option("PATH", options->paths,
                   "Clips, and folders to search for *.mp4, *.m4v and *.mov; each folder counts as "
                   "a volume of its own")
      ->required()
      ->type_name("PATH");
  command->add_flag("--salvage", options->scan.salvage,
                    "Join two remaining sequences if the timecode of one runs on from the other's");
  command->add_flag("--divide", options->scan.divide,
                    "Cut sequences where the volume changes, sparing the first one that has two");
  command->add_flag("--json", options->json, "Print for programs");
  MustBeGiven(command->add_option(
                  "--html", options->html,
                  "Write a page to look at, to keep and to print, which must not exist yet"))
      ->type_name("FILE");
  command->add_flag("--overwrite", options->overwrite, "Replace that FILE if it is such a page");
  command->callback([options, &exitCode] {
    options->scan.cards = options->json || !options->html.empty();
    exitCode = Run(*options);
  });
}

}  // namespace clipchain
