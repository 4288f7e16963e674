// clipchain sequences PATH…: tells which clips form one recording.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/commands/missing_names.h"
#include "clipchain/commands/page_option.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/sequences_output.h"
#include "clipchain/terminal/clip_progress.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/html_report.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

struct SequencesOptions {
  std::vector<std::string> paths;
  ScanOptions scan;
  bool json = false;
  std::string html;
  bool overwrite = false;
  bool quiet = false;
};

ScanReport ScanWithProgress(const FoundClips& found, ScanOptions options, bool quiet) {
  ProgressLine line(stderr, quiet);
  options.progress = ClipProgress("looking at", line);
  return Scan(found.volumes, options);
}

FoundClips FindWithProgress(const SequencesOptions& options) {
  ProgressLine line(stderr, options.quiet);
  return FindClips(options.paths, "", ClipProgress("", line));
}

int FailNames(const SequencesOptions& options, const Findings& missing) {
  if (!options.json) {
    PrintMissingNames(missing);
    return kFailed;
  }
  FoundClips found;
  // Programs get the document that they asked for, with what is missing in its place.
  for (const Finding& finding : missing) found.unreadable.push_back({finding.path, finding.text});
  Print(SequencesJson(found, {}, {}, options.scan));
  return kFailed;
}

std::vector<Proposal> ProposeWithProgress(const ScanReport& report, bool quiet) {
  ProgressLine line(stderr, quiet);
  ProposeOptions options;
  options.progress = ClipProgress("comparing", line);
  return Propose(report, options);
}

int Run(const SequencesOptions& options) {
  NoteStopSignals();
  if (const Findings missing = MissingNames(options.paths); !missing.empty())
    return FailNames(options, missing);
  const FoundClips found = FindWithProgress(options);
  if (StopSignal() != 0) return kFailed;
  if (!options.html.empty()) {
    if (const Reason why = WhyNoPage(options.html, options.overwrite, found))
      return FailPage(options.html, *why);
  }
  const ScanReport report = ScanWithProgress(found, options.scan, options.quiet);
  if (StopSignal() != 0) return kFailed;
  const std::vector<Proposal> proposals = ProposeWithProgress(report, options.quiet);
  if (StopSignal() != 0) return kFailed;
  const std::string text =
      options.json ? SequencesJson(found, report, proposals, options.scan)
                   : SequencesTable(found, report, proposals, options.scan, Paint(stdout));
  // Ahead of the page: whoever waits has the answer even where that can't be written.
  Print(text);
  if (!options.html.empty()) {
    const HtmlOptions page{options.scan, FolderOf(options.html), MadeWords()};
    if (const int failed =
            WritePage(options.html, HtmlReport(found, report, page, proposals), options.overwrite);
        failed != kDone)
      return failed;
    if (!options.json && !options.quiet)
      Print(fmt::format("report: {}\n", PrintablePath(options.html)));
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
                   "a card of its own")
      ->required()
      ->type_name("PATH");
  command->add_flag(
      "--salvage", options->scan.salvage,
      "Where there are just two recordings, take them for one if one says that a clip follows it "
      "and the timecode of the other runs on from there");
  command->add_flag(
      "--divide", options->scan.divide,
      "Cut recordings where the card changes, but leave the first one that lies on two whole");
  command->add_flag("--json", options->json, "Print for programs");
  MustBeGiven(command->add_option(
                  "--html", options->html,
                  "Write a page to look at, to keep and to print, which must not exist yet"))
      ->type_name("FILE");
  command->add_flag("--overwrite", options->overwrite, "Replace that FILE if it is such a page");
  AddQuietAnswer(*command, options->quiet);
  command->callback([options, &exitCode] {
    options->scan.lengths = true;
    // Pictures and cards are read for the page alone, and take longer than all else.
    options->scan.cards = !options->html.empty();
    exitCode = Run(*options);
  });
}

}  // namespace clipchain
