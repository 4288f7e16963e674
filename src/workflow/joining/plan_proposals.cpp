// What becomes of proposals in a plan.
#include <algorithm>
#include <map>
#include <utility>

#include "workflow/joining/accepted_words.h"
#include "workflow/joining/existing_results.h"
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

// A part that was joined before more was accepted. Nothing in it says which clip comes behind it:
// the size of its media tells how far it goes, and before it is replaced its bytes are compared.
class EarlierJoins {
 public:
  EarlierJoins(const std::string& folder, Job& job) : results_(folder), job_(job) {}

  // Those that begin with the first clip of a sequence.
  void NoteThoseOf(const Job& sequence) {
    const std::string& path = sequence.inputs.front();
    const auto found = std::find(job_.inputs.begin(), job_.inputs.end(), path);
    SequenceClip clip = ClipWithIdentifier(path);
    clip.date = sequence.date;
    for (const std::string& name : results_.ResultsOf(clip))
      Note(results_.PathFor(name), static_cast<std::size_t>(found - job_.inputs.begin()));
  }

 private:
  void Note(const std::string& path, std::size_t first) {
    const bool isNoted = std::any_of(job_.earlier.begin(), job_.earlier.end(),
                                     [&](const EarlierJoin& part) { return part.path == path; });
    if (isNoted) return;
    std::uint64_t left = MediaSizeOf(path);
    std::size_t end = first;
    for (; end < job_.inputs.size(); ++end) {
      const std::uint64_t size = SizeOf(end);
      if (size == 0 || size > left) break;
      left -= size;
    }
    const std::size_t count = end - first;
    if (count > 0 && count < job_.inputs.size()) job_.earlier.push_back({path, first, count});
  }

  std::uint64_t SizeOf(std::size_t input) {
    const auto [known, isNew] = sizes_.try_emplace(input, 0);
    if (isNew) known->second = MediaSizeOf(job_.inputs[input]);
    return known->second;
  }

  const ExistingResults results_;
  Job& job_;
  // Of the media of an input.
  std::map<std::size_t, std::uint64_t> sizes_;
};

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
    EarlierJoins earlier(options.folder, job);
    for (const std::size_t i : made.sequences) earlier.NoteThoseOf(plan.jobs[i]);
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
