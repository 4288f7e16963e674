#include "workflow/pages/html_ties.h"

#include <fmt/format.h>

#include <algorithm>

#include "workflow/pages/html_halves.h"

namespace clipchain {

namespace {

std::size_t AddTie(Ties& ties, const std::string& name, const std::string& link) {
  ties.names.push_back(name);
  ties.links.push_back(link);
  return ties.names.size() - 1;
}

}  // namespace

std::size_t Ties::Of(std::size_t recording) const {
  const auto found = of.find(recording);
  return found != of.end() ? found->second : kNone;
}

Ties FindTies(const ScanReport& report, const std::vector<Proposal>& proposals) {
  Ties ties;
  // Halves first: what identifiers say is never told as a guess.
  for (const auto& [front, behind] : FindHalves(report)) {
    // Of a recording that lacks two clips there are three parts, which hang together.
    std::size_t tie = ties.Of(behind) != Ties::kNone ? ties.Of(behind) : ties.Of(front);
    if (tie == Ties::kNone) tie = AddTie(ties, "", "");
    for (const std::size_t i : {front, behind}) ties.of.try_emplace(i, tie);
  }
  std::size_t number = 0;
  for (const Proposal& proposal : proposals) {
    ++number;
    const bool isFree = std::all_of(proposal.sequences.begin(), proposal.sequences.end(),
                                    [&](std::size_t i) { return ties.Of(i) == Ties::kNone; });
    // A sequence that lacks a clip may be a half and a part of a proposal.
    if (!isFree || proposal.sequences.size() < 2) continue;
    const std::size_t tie =
        AddTie(ties, std::string(GradeName(proposal.grade)), fmt::format("#proposal-{}", number));
    for (const std::size_t i : proposal.sequences) ties.of[i] = tie;
  }
  return ties;
}

}  // namespace clipchain
