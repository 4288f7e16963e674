#include "workflow/joining/name_outputs.h"

#include <algorithm>

#include "workflow/joining/existing_results.h"
#include "workflow/joining/output_name.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

using Owner = ExistingResults::Owner;

Extent ExtentOf(const Job& job) {
  return job.closedAtHead && job.closedAtTail ? Extent::kWhole : Extent::kIncomplete;
}

class Naming {
 public:
  Naming(const std::vector<SequenceReport>& sequences, const std::string& folder,
         std::vector<Job>& jobs)
      : sequences_(sequences), results_(folder), jobs_(jobs) {}

  // What is there comes first: nobody else gets its name.
  void Run() {
    for (std::size_t i = 0; i < jobs_.size(); ++i) {
      if (IsNamed(i)) KeepName(i);
    }
    for (std::size_t i = 0; i < jobs_.size(); ++i) {
      if (!IsNamed(i)) continue;
      if (jobs_[i].output.empty()) TakeName(i);
      NoteEarlierJoins(i);
    }
  }

 private:
  bool IsNamed(std::size_t i) const {
    return jobs_[i].leftOut != LeftOut::kCopy && !jobs_[i].inputs.empty();
  }
  const SequenceClip& FirstOf(std::size_t i) const { return sequences_[i].clips.front(); }

  void KeepName(std::size_t i) {
    const std::string name = OutputName(jobs_[i].date, jobs_[i].inputs.front(), ExtentOf(jobs_[i]));
    for (const std::string& there : results_.NamedLike(name)) {
      if (results_.OwnerOf(there, FirstOf(i)) != Owner::kThisClip || !names_.Reserve(there))
        continue;
      jobs_[i].output = results_.PathFor(there);
      return;
    }
  }

  // What can't be read may be a damaged result of this recording: its name is kept, so that
  // somebody looks at it.
  void TakeName(std::size_t i) {
    const auto isTaken = [&](const std::string& name) {
      return results_.OwnerOf(name, FirstOf(i)) == Owner::kAnotherClip;
    };
    jobs_[i].output = results_.PathFor(
        names_.Take(jobs_[i].date, jobs_[i].inputs.front(), ExtentOf(jobs_[i]), isTaken));
  }

  // A part may begin with any clip: its head may have turned up since.
  void NoteEarlierJoins(std::size_t i) {
    const std::vector<SequenceClip>& clips = sequences_[i].clips;
    for (std::size_t first = 0; first < clips.size(); ++first) {
      if (clips[first].id == _GUID{}) continue;
      for (const std::string& there : results_.ResultsOf(clips[first]))
        NoteEarlierJoin(jobs_[i], clips, there, first);
    }
  }

  // How far it goes, by the clip that it names as the next one. A result that goes to the end of a
  // whole recording is no part, unless its beginning is missing.
  void NoteEarlierJoin(Job& job, const std::vector<SequenceClip>& clips, const std::string& name,
                       std::size_t first) {
    const _GUID next = results_.NextOf(name);
    std::size_t end = first + 1;
    while (end < clips.size() && clips[end].id != next) ++end;
    const bool isPart = first > 0 || end < clips.size();
    if (isPart) job.earlier.push_back({results_.PathFor(name), first, end - first});
  }

  const std::vector<SequenceReport>& sequences_;
  const ExistingResults results_;
  std::vector<Job>& jobs_;
  OutputNames names_;
};

// The jobs that hold a rescued clip.
class RescuedNaming {
 public:
  using IsRescued = std::function<bool(const std::string&)>;

  RescuedNaming(const IsRescued& isRescued, const std::string& folder, std::vector<Job>& jobs)
      : isRescued_(isRescued), results_(folder) {
    for (Job& job : jobs) {
      if (job.output.empty()) continue;
      if (std::any_of(job.inputs.begin(), job.inputs.end(), isRescued))
        jobs_.push_back(&job);
      else
        names_.Reserve(NameOf(job.output));
    }
  }

  void Run() {
    for (Job* job : jobs_) KeepName(*job);
    for (Job* job : jobs_) {
      if (job->output.empty()) TakeName(*job);
    }
  }

 private:
  // A rescued clip has the mark in its own name.
  std::string NamedBy(const Job& job) const {
    const std::string& first = job.inputs.front();
    return isRescued_(first) ? WithoutRescueMark(NameOf(first)) : first;
  }

  void KeepName(Job& job) {
    job.output.clear();
    const std::string name = RescuedName(job.date, NamedBy(job), ExtentOf(job));
    for (const std::string& there : results_.NamedLike(name)) {
      if (results_.OwnerOf(there, job.inputs.front()) != Owner::kThisClip || !names_.Reserve(there))
        continue;
      job.output = results_.PathFor(there);
      return;
    }
  }

  void TakeName(Job& job) {
    const auto isTaken = [&](const std::string& name) {
      return results_.OwnerOf(name, job.inputs.front()) == Owner::kAnotherClip;
    };
    job.output =
        results_.PathFor(names_.TakeRescued(job.date, NamedBy(job), ExtentOf(job), isTaken));
  }

  const IsRescued& isRescued_;
  const ExistingResults results_;
  std::vector<Job*> jobs_;
  OutputNames names_;
};

}  // namespace

void NameOutputs(const std::vector<SequenceReport>& sequences, const std::string& folder,
                 std::vector<Job>& jobs) {
  Naming(sequences, folder, jobs).Run();
}

void NameRescuedOutputs(const std::function<bool(const std::string&)>& isRescued,
                        const std::string& folder, std::vector<Job>& jobs) {
  RescuedNaming(isRescued, folder, jobs).Run();
}

}  // namespace clipchain
