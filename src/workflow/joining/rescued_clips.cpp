#include "workflow/joining/rescued_clips.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "workflow/clip_search.h"
#include "workflow/join.h"
#include "workflow/joining/output_name.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

// Rescued clips by path, each with the broken one.
using Rescued = std::map<std::string, std::string>;

// Beside its own name the rescued clip keeps that of the folder it was in, for cards that number
// their clips alike.
std::string RescuedPath(const std::string& folder, const std::string& broken) {
  const std::string name = NameOf(FolderOf(broken)) + '_' + NameOf(broken);
  return folder + '/' + WithRescueMark(name);
}

class Rescuer {
 public:
  explicit Rescuer(const RescuePlanOptions& options)
      : options_(options), folder_(options.plan.folder + "/rescued") {}

  void Run(const std::vector<std::string>& operands) {
    for (const Volume& volume : FindClips(operands, options_.plan.folder).volumes) {
      for (const std::string& clip : volume.clips) {
        if (!stopped_ && NeedsRescue(clip)) RescueOne(clip);
      }
    }
  }
  const Rescued& rescued() const { return rescued_; }
  const Findings& findings() const { return findings_; }

 private:
  void RescueOne(const std::string& broken) {
    const std::string output = RescuedPath(folder_, broken);
    // One that is there was rescued by an earlier run, and a search takes long.
    if (!Exists(output) && !Make(broken, output)) return;
    rescued_[output] = broken;
  }

  bool Make(const std::string& broken, const std::string& output) {
    for (const std::string& folder : {options_.plan.folder, folder_}) {
      if (const auto fault = MakeFolder(folder)) {
        findings_.push_back(*fault);
        return false;
      }
    }
    RescueOptions options;
    options.output = output;
    options.progress = [this](const RescueStep& step) {
      if (options_.progress && !options_.progress(step)) stopped_ = true;
      return !stopped_;
    };
    const RescueReport report = Rescue(broken, options);
    findings_.insert(findings_.end(), report.findings.begin(), report.findings.end());
    return report.done;
  }

  const RescuePlanOptions& options_;
  std::string folder_;
  Rescued rescued_;
  Findings findings_;
  bool stopped_ = false;
};

void MarkJob(Job& job, const Rescued& rescued) {
  bool marked = false;
  for (const std::string& input : job.inputs) {
    const auto found = rescued.find(input);
    if (found == rescued.end()) continue;
    marked = true;
    job.findings.push_back(MakeFinding(
        Message::kClipRescued, input,
        fmt::format("is what was rescued of {}; it may lack the end", PrintablePath(found->second)),
        "keep the broken clip until you have seen the result"));
  }
  if (!marked || job.output.empty()) return;
  job.output = BesideOf(job.output, WithRescueMark(NameOf(job.output)));
}

}  // namespace

JoinPlan PlanWithRescued(const std::vector<std::string>& operands,
                         const RescuePlanOptions& options) {
  Rescuer rescuer(options);
  rescuer.Run(operands);
  std::vector<std::string> all = operands;
  // Named one by one: the folder of results is not searched for clips.
  for (const auto& [output, broken] : rescuer.rescued()) all.push_back(output);
  JoinPlan plan = PlanFor(all, options.plan);
  for (Job& job : plan.jobs) MarkJob(job, rescuer.rescued());
  // What a rescued clip replaces is no file that could not be read.
  std::erase_if(plan.findings, [&](const Finding& finding) {
    return std::any_of(rescuer.rescued().begin(), rescuer.rescued().end(),
                       [&](const auto& pair) { return pair.second == finding.path; });
  });
  plan.findings.insert(plan.findings.begin(), rescuer.findings().begin(), rescuer.findings().end());
  return plan;
}

}  // namespace clipchain
