// clipchain verify CARD… --against FOLDER…: says whether all that is on cards is kept.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/commands/merge_options.h"
#include "clipchain/commands/missing_names.h"
#include "clipchain/commands/page_option.h"
#include "clipchain/manual/usage.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/output/proof_output.h"
#include "clipchain/terminal/progress_line.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/terminal/stop_signals.h"
#include "clipchain/tool.h"
#include "workflow/card_proof.h"
#include "workflow/findings/clip_words.h"
#include "workflow/html_proof.h"
#include "workflow/keeping/proof_json.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

// A search that takes no longer needs no line.
constexpr double kSecondsToWait = 0.5;

struct VerifyCommand {
  CardProofOptions proof;
  std::string html;
  bool quiet = false;
  bool json = false;
};

// Why the page can't be written, known before anything is read. A card is never written to.
Reason WhyNoPage(const VerifyCommand& command) {
  std::error_code error;
  // Through links: the page may be named by a way that does not look like one onto the card.
  std::filesystem::path folder = std::filesystem::canonical(FolderOf(command.html), error);
  while (!error) {
    for (const std::string& card : command.proof.cards) {
      if (IsSameFile(folder, card)) return "would lie on the card " + PrintablePath(card);
    }
    if (folder == folder.parent_path()) break;
    folder = folder.parent_path();
  }
  return WhyNoTextFile(command.html, false);
}

CardProof ProveWithProgress(const CardProofOptions& options, bool quiet) {
  ProgressLine line(stderr, quiet);
  CardProofOptions proof = options;
  line.StartPhase();
  proof.progress = [&line](const Step& step) {
    if (step.phase == Step::Phase::kSearching) {
      if (line.Seconds() > kSecondsToWait && line.IsDue())
        line.ShowText(fmt::format("searching folders: {} files so far", step.clip));
    } else if (line.IsDue()) {
      // Divided first: a product of bytes and 100 could be too large, and a sum of 0 bytes divides
      // nothing.
      const long long percent = step.current / (step.total / 100 + 1);
      line.ShowText(fmt::format("comparing {} of {}  {} %", FormatBytes(step.current),
                                FormatBytes(step.total), percent));
    }
    return StopSignal() == 0;
  };
  return ProveCards(proof);
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  char text[sizeof "2024-05-06 07:08:09 UTC"];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
  return text;
}

// An answer to programs holds the findings itself.
int Fail(const VerifyCommand& command, const CardProof& proof) {
  if (command.json)
    Print(JsonText(ProofJson(command.proof, proof)));
  else
    std::fputs(FindingsText(proof.findings, Paint(stderr)).c_str(), stderr);
  return kFailed;
}

int Run(const VerifyCommand& command) {
  NoteStopSignals();
  CardProof missing;
  for (const auto* paths : {&command.proof.cards, &command.proof.against}) {
    for (Finding& finding : MissingNames(*paths)) missing.findings.push_back(std::move(finding));
  }
  missing.failed = !missing.findings.empty();
  if (missing.failed) return Fail(command, missing);
  if (!command.html.empty()) {
    if (const Reason why = WhyNoPage(command)) return FailPage(command.html, *why);
  }
  const CardProof proof = ProveWithProgress(command.proof, command.quiet);
  // What was found by then is no answer, and must not be printed as one.
  if (StopSignal() != 0) return kFailed;
  if (proof.failed) return Fail(command, proof);
  if (!command.json) std::fputs(FindingsText(proof.findings, Paint(stderr)).c_str(), stderr);
  if (!command.html.empty()) {
    // Ahead of the answer: that a card can be erased is the last thing that is said.
    if (const int failed = WritePage(command.html, HtmlProof(command.proof, proof, Now()), false);
        failed != kDone)
      return failed;
  }
  Print(command.json ? JsonText(ProofJson(command.proof, proof))
                     : ProofText(command.proof, proof, Paint(stdout)));
  return proof.kept ? kDone : kIncomplete;
}

}  // namespace

void AddVerifyCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<VerifyCommand>();
  CLI::App* command = tool.add_subcommand(
      "verify",
      "Say whether all that is on cards stands in merged files and copies elsewhere, so that the "
      "cards can be erased");
  command
      ->add_option("CARD", options->proof.cards,
                   "Folders of cards; every file below them is looked at, whatever its name")
      ->required()
      ->type_name("CARD");
  MustBeGiven(command->add_option("--against", options->proof.against,
                                  "Folders below which results, archives and copies lie"))
      ->required()
      ->type_name("DIR");
  command->add_flag("--clips-only", options->proof.clipsOnly,
                    "Look at clips alone; other files are counted and may be lost");
  command->add_flag("--whole", options->proof.whole,
                    "Take a clip for kept only if every byte of it is: by an identical file, or by "
                    "a result with its RESULT.originals");
  command->add_flag("--json", options->json, "Print for programs");
  MustBeGiven(command->add_option("--html", options->html,
                                  "Write a page to keep, which must not exist yet"))
      ->type_name("FILE");
  AddQuietAnswer(*command, options->quiet);
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
