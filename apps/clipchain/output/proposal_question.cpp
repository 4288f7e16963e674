#include "clipchain/output/proposal_question.h"

#include <fmt/format.h>

#include <cstdio>

#include "clipchain/output/proposal_output.h"
#include "clipchain/terminal/leftover_question.h"
#include "clipchain/terminal/stop_signals.h"

namespace clipchain {

std::function<bool(const Proposal&)> ProposalQuestion(ProgressLine& line) {
  return [&line](const Proposal& proposal) {
    // Somebody who pressed Ctrl-C must not be asked about all that is left.
    if (StopSignal() != 0) return false;
    line.Clear();
    // On the stream of errors, beside the question: the other one may be a file that nobody looks
    // at.
    std::fputs(ProposalText(proposal, Paint(stderr)).c_str(), stderr);
    return AskYesNo(fmt::format("Join these {} clips? [y/N] ", proposal.clips.size()));
  };
}

}  // namespace clipchain
