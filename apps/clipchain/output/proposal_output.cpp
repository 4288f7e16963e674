#include "clipchain/output/proposal_output.h"

#include <fmt/format.h>

#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

Colour ColourOf(Grade grade) { return grade == Grade::kCertain ? Colour::kGood : Colour::kNote; }

}  // namespace

std::string ProposalText(const Proposal& proposal, const Paint& paint) {
  std::string text =
      fmt::format("{}  {:19}  {:>5}  {}\n",
                  paint(ColourOf(proposal.grade), fmt::format("{:>9}", GradeName(proposal.grade))),
                  DateWords(proposal.date), proposal.clips.size(),
                  proposal.complete ? "complete" : paint(Colour::kWarning, "a clip is missing"));
  for (const std::string& clip : proposal.clips)
    text += fmt::format("      {}\n", PrintablePath(clip));
  for (const Evidence& evidence : proposal.evidence) {
    // What disagrees would have kept the clips apart, and what is silent says nothing for or
    // against.
    if (evidence.agrees) text += fmt::format("        {}\n", evidence.text);
  }
  return text;
}

std::string ProposalsText(const std::vector<Proposal>& proposals, const Paint& paint) {
  if (proposals.empty()) return "";
  std::string text =
      fmt::format("\nproposed recordings, by what their clips say:\n{:>9}  {:19}  {:>5}  {}\n",
                  "grade", "date", "clips", "state");
  for (const Proposal& proposal : proposals) text += ProposalText(proposal, paint);
  return text;
}

}  // namespace clipchain
