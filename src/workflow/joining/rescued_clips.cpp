#include "workflow/joining/rescued_clips.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "workflow/clip_search.h"
#include "workflow/join.h"
#include "workflow/joining/name_outputs.h"
#include "workflow/joining/output_name.h"
#include "workflow/joining/rescued_copies.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

// Broken clips by path, each with the rescued one.
using Rescued = std::map<std::string, std::string>;

// Beside its own name the rescued clip keeps that of the folder it was in, for cards that number
// their clips alike, and counts those that are named alike even so.
std::string RescuedPath(const std::string& folder, const std::string& broken, std::size_t count) {
  std::string name = WithRescueMark(NameOf(FolderOf(broken)) + '_' + NameOf(broken));
  if (count > 1) name.insert(name.rfind('.'), fmt::format("_{}", count));
  return folder + '/' + name;
}

bool HoldSameBytes(const std::string& a, const std::string& b) {
  return FileBytes(a).Size() == FileBytes(b).Size() && BeginsWithBytesOf(a, b);
}

class Rescuer {
 public:
  explicit Rescuer(const RescuePlanOptions& options)
      : options_(options), folder_(options.plan.folder + "/rescued") {}

  void Run(const std::vector<std::string>& operands) {
    for (const Volume& volume : FindClips(operands, options_.plan.folder).volumes) {
      for (const std::string& clip : volume.clips) {
        if (!NeedsRescue(clip))
          whole_.push_back(clip);
        else if (!stopped_)
          RescueOne(clip);
      }
    }
    LeaveOutCopies();
  }
  // Broken ones of which whole copies lie among the operands.
  const std::set<std::string>& copies() const { return copies_; }
  const Rescued& rescued() const { return rescued_; }
  const Findings& findings() const { return findings_; }

 private:
  void RescueOne(const std::string& broken) {
    std::vector<std::string> earlier;
    std::string output = RescuedPath(folder_, broken, 1);
    while (Exists(output)) {
      earlier.push_back(output);
      output = RescuedPath(folder_, broken, earlier.size() + 1);
    }
    if (!Make(broken, output)) return;
    // Folders and clips of other cards have the same names: only the bytes tell whether a file
    // that is there was rescued from this clip.
    const auto same = std::find_if(earlier.begin(), earlier.end(), [&](const std::string& path) {
      return HoldSameBytes(path, output);
    });
    if (same != earlier.end()) {
      // Two of them would be two copies of one clip; one that stays is used by nobody.
      ::unlink(output.c_str());
      output = *same;
    }
    rescued_[broken] = output;
  }

  // A copy that was interrupted, beside the clip that was copied, or beside a longer copy.
  void LeaveOutCopies() {
    if (rescued_.empty()) return;
    std::vector<std::string> outputs;
    for (const auto& [broken, output] : rescued_) outputs.push_back(output);
    const std::vector<IdentifiedClip> found = Identify(outputs);
    const std::vector<IdentifiedClip> whole = Identify(whole_);
    auto clip = found.begin();
    for (auto rescue = rescued_.begin(); rescue != rescued_.end(); ++clip) {
      const std::string& broken = rescue->first;
      if (const auto copied = WholeOf(*clip, whole)) {
        const bool isCut = BeginsWithBytesOf(*copied, broken);
        std::erase_if(findings_, [&](const Finding& finding) {
          return finding.path == broken && (isCut || finding.message != Message::kMediaLeftOut);
        });
        findings_.push_back(MakeFinding(Message::kClipsCopied, broken,
                                        "is a broken copy of " + PrintablePath(*copied)));
        copies_.insert(broken);
        rescue = rescued_.erase(rescue);
        continue;
      }
      if (const auto longest = LongestOf(*clip, found)) rescue->second = *longest;
      ++rescue;
    }
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
  std::vector<std::string> whole_;
  std::set<std::string> copies_;
  Findings findings_;
  bool stopped_ = false;
};

// The broken clips that an input is what was rescued of, be it as a copy of a rescued clip that lay
// among the operands.
std::vector<std::string> BrokenOf(const std::string& input, const Rescued& rescued) {
  std::vector<std::string> broken;
  for (const auto& [from, output] : rescued) {
    if (output == input || HoldSameBytes(output, input)) broken.push_back(from);
  }
  return broken;
}

void TellOfRescue(Job& job, const Rescued& rescued) {
  for (const std::string& input : job.inputs) {
    const std::vector<std::string> broken = BrokenOf(input, rescued);
    if (broken.empty()) continue;
    std::string names;
    for (const std::string& path : broken)
      names += (names.empty() ? "" : " and of ") + PrintablePath(path);
    job.findings.push_back(
        MakeFinding(Message::kClipRescued, input,
                    fmt::format("is what was rescued of {}; it may lack the end", names),
                    "keep the broken clip until you have seen the result"));
  }
}

}  // namespace

JoinPlan PlanWithRescued(const std::vector<std::string>& operands,
                         const RescuePlanOptions& options) {
  Rescuer rescuer(options);
  rescuer.Run(operands);
  std::vector<std::string> all = operands;
  // Named one by one: the folder of results is not searched for clips.
  std::set<std::string> outputs;
  for (const auto& [broken, output] : rescuer.rescued()) outputs.insert(output);
  all.insert(all.end(), outputs.begin(), outputs.end());
  JoinPlan plan = PlanFor(all, options.plan);
  for (Job& job : plan.jobs) TellOfRescue(job, rescuer.rescued());
  const auto isRescued = [&](const std::string& input) {
    return !BrokenOf(input, rescuer.rescued()).empty();
  };
  if (!rescuer.rescued().empty()) NameRescuedOutputs(isRescued, options.plan.folder, plan.jobs);
  // What a rescued clip replaces is no file that could not be read.
  std::erase_if(plan.findings, [&](const Finding& finding) {
    return rescuer.rescued().contains(finding.path) || rescuer.copies().contains(finding.path);
  });
  plan.findings.insert(plan.findings.begin(), rescuer.findings().begin(), rescuer.findings().end());
  return plan;
}

}  // namespace clipchain
