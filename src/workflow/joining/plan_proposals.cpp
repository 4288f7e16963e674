// What becomes of proposals in a plan.
#include <algorithm>
#include <utility>

#include "workflow/joining/accepted_words.h"
#include "workflow/plan.h"

namespace clipchain {

namespace {

// Whether the sequences are what the evidence took them for: not copies of identified clips, nor
// contradictory.
bool MayBeJoined(const Proposal& proposal, const std::vector<Job>& jobs) {
  return std::none_of(proposal.sequences.begin(), proposal.sequences.end(), [&](std::size_t i) {
    return jobs[i].leftOut == LeftOut::kCopy || jobs[i].leftOut == LeftOut::kContradiction;
  });
}

Job JobOf(const Proposal& proposal, const PlanOptions& options, const std::vector<Job>& jobs) {
  Job job = jobs[proposal.sequences.front()];
  job.inputs = proposal.clips;
  job.accepted = proposal.grade;
  job.closedAtTail = jobs[proposal.sequences.back()].closedAtTail;
  job.leftOut = LeftOut::kNo;
  job.size = 0;
  for (const std::size_t i : proposal.sequences) job.size += jobs[i].size;
  for (const Evidence& evidence : proposal.evidence) {
    const bool speaks = evidence.agrees == true && evidence.kind != EvidenceKind::kDescription;
    if (speaks) job.evidence += (job.evidence.empty() ? "" : "; ") + evidence.text;
  }
  job.findings = {AcceptedFinding(job)};
  if (proposal.complete) return job;
  Finding finding = MakeFinding(Message::kSequenceIncomplete, job.inputs.front(),
                                "begins a recording of which a clip is missing",
                                "add the folder or card that has the missing clip; --incomplete "
                                "joins what there is");
  if (options.incomplete) {
    finding.severity = Severity::kNote;
    finding.remedy.clear();
  } else {
    job.leftOut = LeftOut::kIncomplete;
  }
  job.findings.push_back(std::move(finding));
  return job;
}

}  // namespace

void PlanProposals(std::vector<Proposal> proposals, const PlanOptions& options, JoinPlan& plan) {
  // Into the job of an earlier sequence.
  std::vector<bool> isTaken(plan.jobs.size());
  // Proposal, sequence.
  std::vector<std::pair<std::size_t, std::size_t>> accepted;
  for (Proposal& proposal : proposals) {
    PlannedProposal& planned = plan.proposed.emplace_back();
    planned.proposal = std::move(proposal);
    const Proposal& made = planned.proposal;
    if (!MayBeJoined(made, plan.jobs)) continue;
    planned.accepted =
        (options.accept && made.grade >= *options.accept) || (options.ask && options.ask(made));
    if (!planned.accepted) continue;
    const std::size_t first = made.sequences.front();
    accepted.emplace_back(plan.proposed.size() - 1, first);
    Job job = JobOf(made, options, plan.jobs);
    for (const std::size_t i : made.sequences) isTaken[i] = i != first;
    plan.jobs[first] = std::move(job);
  }
  std::vector<Job> jobs;
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < plan.jobs.size(); ++i) {
    places.push_back(jobs.size());
    if (!isTaken[i]) jobs.push_back(std::move(plan.jobs[i]));
  }
  plan.jobs = std::move(jobs);
  for (const auto& [proposal, sequence] : accepted) plan.proposed[proposal].job = places[sequence];
}

}  // namespace clipchain
