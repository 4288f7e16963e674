#include "workflow/join.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include "workflow/assembling/merge_image.h"
#include "workflow/boxes/top_level.h"
#include "workflow/checks/fitted_clips.h"
#include "workflow/joining/join_run.h"
#include "workflow/joining/result_fitting.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/merging/result_chapters.h"
#include "workflow/merging/verify.h"
#include "workflow/system/files.h"
#include "workflow/system/open_file.h"
#include "workflow/system/part_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

using Clock = std::chrono::steady_clock;

// One run over all jobs.
class Joining {
 public:
  Joining(const JoinPlan& plan, const JoinOptions& options, const JobWork& calls)
      : plan_(plan),
        options_(options.merge),
        update_(options.update),
        keep_(options.keep),
        calls_(calls),
        perByte_(options.merge.verification == Verification::kFull ? 2 : 1) {
    for (const Job& job : plan.jobs) {
      const bool isRun = job.leftOut == LeftOut::kNo;
      work_.push_back(isRun ? WorkOf(job, Exists(job.output)) : 0);
      step_.total += work_.back();
      if (isRun) ++step_.jobs;
    }
  }

  JoinReport Run() {
    for (const Job& job : plan_.jobs) {
      const Clock::time_point start = Clock::now();
      JobReport& report = report_.jobs.emplace_back();
      report.findings = job.findings;
      RunJob(job, report);
      report.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    }
    return std::move(report_);
  }

 private:
  void RunJob(const Job& job, JobReport& report) {
    if (job.leftOut != LeftOut::kNo) {
      report.outcome = Outcome::kLeftOut;
      return;
    }
    ++step_.job;
    const bool exists = Exists(job.output);
    Expect(WorkOf(job, exists));
    if (Tell(Step::Phase::kChecking, 0, 0)) {
      try {
        report.outcome = exists ? LookAt(job, report) : Merge(job, report, false);
      } catch (const std::bad_alloc&) {
        report.outcome = Outcome::kFailed;
        report.findings.push_back(MakeFinding(Message::kOutOfMemory, job.output,
                                              "needs more memory than there is",
                                              "free some memory, then join again"));
      }
    }
    const bool done = report.outcome == Outcome::kMerged || report.outcome == Outcome::kAlready;
    if (done) LookAtParts(job, report);
    // What ended early counts as far as it came, so that the sum of all is reached.
    if (!done) Expect(told_);
    step_.current += work_[report_.jobs.size() - 1];
    told_ = 0;
  }

  // What is wrong with the output of a job.
  Findings Verified(const Job& job, const Progress& progress) const {
    return calls_.verify
               ? calls_.verify(job, progress)
               : VerifyOutput(job, progress, options_.check.fitting, options_.verification);
  }

  // What to do about an output that is there already.
  Outcome LookAt(const Job& job, JobReport& report) {
    const auto part = std::find_if(job.earlier.begin(), job.earlier.end(),
                                   [&](const EarlierJoin& e) { return e.path == job.output; });
    if (part == job.earlier.end()) return Compare(job, report);
    if (!update_) {
      Finding finding =
          PartFinding(job, *part, "--update replaces it once the longer one is verified");
      finding.severity = Severity::kRefusal;
      report.findings.push_back(std::move(finding));
      return Outcome::kFailed;
    }
    return IsUntouched(job, *part, report) ? Merge(job, report, true) : Outcome::kFailed;
  }

  // Names the results that hold a part of what is whole now, or removes them.
  void LookAtParts(const Job& job, JobReport& report) {
    for (const EarlierJoin& part : job.earlier) {
      if (part.path == job.output) continue;
      if (!update_) {
        report.findings.push_back(
            PartFinding(job, part, "it is needed no more; --update removes it"));
        // An archive is of no use without its result, and may keep what the longer join does not.
      } else if (const auto beside = FindStranger(part.path, {})) {
        report.findings.push_back(
            PartFinding(job, part,
                        "it stays because " + PrintablePath(beside->path) +
                            " belongs to it; remove them together if you need neither"));
      } else if (IsUntouched(job, part, report)) {
        Remove(part, report);
      }
    }
  }

  static Finding PartFinding(const Job& job, const EarlierJoin& part, std::string remedy) {
    return MakeFinding(
        Message::kEarlierJoin, part.path,
        fmt::format("is an earlier, shorter join of the same recording: {} of its {} "
                    "clips",
                    part.count, job.inputs.size()),
        std::move(remedy));
  }

  // Whether it is what its clips give, every byte, so that nobody has made something else of it.
  bool IsUntouched(const Job& job, const EarlierJoin& part, JobReport& report) {
    Job shorter;
    const auto first = job.inputs.begin() + static_cast<std::ptrdiff_t>(part.first);
    shorter.inputs.assign(first, first + static_cast<std::ptrdiff_t>(part.count));
    shorter.output = part.path;
    const Findings faults =
        Verified(shorter, [&](const Step&) { return Tell(Step::Phase::kVerifying, 0, 0); });
    if (report_.stopped) return false;
    if (!HoldsUp(faults, false)) return true;
    report.findings.push_back(
        MakeFinding(Message::kOutputDiffers, part.path,
                    "was an earlier, shorter join of the same recording, but is not what its clips "
                    "give any more; it stays as it is",
                    "look at it, then rename or remove it"));
    return false;
  }

  static void Remove(const EarlierJoin& part, JobReport& report) {
    std::error_code error;
    std::filesystem::remove(part.path, error);
    Finding finding = MakeFinding(
        Message::kEarlierJoin, part.path,
        error ? "is an earlier, shorter join of the same recording, and can't be removed: " +
                    ErrorText(error)
              : "was an earlier, shorter join of the same recording, and is removed now",
        error ? "remove it by hand" : "");
    report.findings.push_back(std::move(finding));
  }

  Outcome Compare(const Job& job, JobReport& report) {
    Add(LookForLeftovers(job.output, options_.removeLeftover), report);
    for (const std::string& input : job.inputs) {
      if (!IsSameFile(job.output, input)) continue;
      report.findings.push_back(MakeFinding(Message::kOutputIsInput, job.output,
                                            "is the same file as the clip " + PrintablePath(input),
                                            "give the result another name"));
      return Outcome::kFailed;
    }
    const auto tell = [&](const Step& step) {
      return Tell(Step::Phase::kVerifying, 0, std::min(step.current, job.size));
    };
    const Findings faults = Verified(job, tell);
    if (report_.stopped) return Outcome::kNotRun;
    report.size = FileSize(job.output);
    const bool isResult = !HoldsUp(faults, options_.force);
    if (!isResult) {
      report.findings.push_back(MakeFinding(
          Message::kOutputDiffers, job.output,
          "is there already, but is not what its clips give together; it stays as it is",
          "look at it, then rename or remove it and join again"));
    }
    Add(faults, report);
    return isResult && HasLayout(job, report) ? Keep(job, report) : Outcome::kFailed;
  }

  // Whether a result that is there already is of the kind that is asked for now.
  bool HasLayout(const Job& job, JobReport& report) const {
    FileBytes bytes(job.output);
    TopLevel boxes;
    if (!options_.faststart || boxes.Read(bytes) || boxes.layout.movieInFront) return true;
    report.findings.push_back(MakeFinding(
        Message::kOutputDiffers, job.output,
        "is there already, whole, but has its movie box behind its media; it stays as it is",
        "rename or remove it and join again, or leave --faststart out"));
    return false;
  }

  // What is to lie beside a result that is there already.
  Outcome Keep(const Job& job, JobReport& report) {
    CheckOptions made = options_.check;
    made.fitting = FittingOfResult(job.output, job.inputs, made.fitting);
    const Findings faults =
        KeepBeside(job.inputs, FittingOf(made, job.inputs), job.output, keep_,
                   [&](const Step&) { return Tell(Step::Phase::kVerifying, 0, job.size); });
    if (report_.stopped) return Outcome::kNotRun;
    Add(faults, report);
    return HoldsUp(faults, false) ? Outcome::kFailed : Outcome::kAlready;
  }

  Outcome Merge(const Job& job, JobReport& report, bool overwrite) {
    if (const auto fault = MakeFolder(FolderOf(job.output))) {
      report.findings.push_back(*fault);
      return Outcome::kFailed;
    }
    SafeMergeOptions options = options_;
    options.check.output = job.output;
    options.check.overwrite = overwrite;
    const auto companion = keep_.Any() ? MakeCompanion(keep_) : nullptr;
    options.companion = companion.get();
    options.check.progress = [&](const Step& step) {
      return Tell(step.phase, step.clip, DoneOf(job, step));
    };
    SafeMergeReport merged = calls_.merge(job.inputs, options);
    if (TakesOutOutputExists(merged.findings)) {
      Add(merged.findings, report);
      return Compare(job, report);
    }
    Add(merged.findings, report);
    report.adaptations = merged.adaptations;
    report.size = merged.size;
    report.shared = merged.shared;
    report.result = merged.result;
    return merged.done ? Outcome::kMerged : Outcome::kFailed;
  }

  // Whether the output came into being meanwhile, by another run that joins the same.
  static bool TakesOutOutputExists(Findings& findings) {
    return std::erase_if(findings, [](const Finding& finding) {
             return finding.message == Message::kOutputExists;
           }) != 0;
  }

  // Bytes to copy, and to read back where that is asked for, or to compare.
  long long WorkOf(const Job& job, bool exists) const {
    return exists ? job.size : perByte_ * job.size;
  }
  long long DoneOf(const Job& job, const Step& step) const {
    switch (step.phase) {
      case Step::Phase::kChecking:
        return 0;
      case Step::Phase::kCopying:
        return std::min(step.current, job.size);
      case Step::Phase::kVerifying:
        return job.size + (perByte_ - 1) * std::min(step.current, job.size);
      default:
        return job.size;
    }
  }

  // What the job at work comes to, as far as it is known by now.
  void Expect(long long work) {
    long long& expected = work_[report_.jobs.size() - 1];
    step_.total += work - expected;
    expected = work;
  }

  static void Add(const Findings& findings, JobReport& report) {
    report.findings.insert(report.findings.end(), findings.begin(), findings.end());
  }

  // Whether to go on.
  bool Tell(Step::Phase phase, std::size_t clip, long long current) {
    Step step = step_;
    step.phase = phase;
    step.clip = clip;
    // A copy begins anew where no block could be shared; what people see does not.
    told_ = std::max(told_, current);
    step.current += told_;
    if (!report_.stopped && options_.check.progress)
      report_.stopped = !options_.check.progress(step);
    return !report_.stopped;
  }

  const JoinPlan& plan_;
  const SafeMergeOptions& options_;
  const bool update_;
  const KeepOptions& keep_;
  const JobWork& calls_;
  // How often a merge handles each byte.
  const int perByte_;
  // Of each job, in bytes.
  std::vector<long long> work_;
  // Of the job at work.
  long long told_ = 0;
  // With what the jobs before have done.
  Step step_{};
  JoinReport report_;
};

}  // namespace

std::string_view OutcomeName(Outcome outcome) {
  constexpr std::string_view kNames[] = {"merged", "already there", "failed", "left out",
                                         "not run"};
  return kNames[static_cast<std::size_t>(outcome)];
}

Findings VerifyOutput(const Job& job, const Progress& progress, const Fitting& fitting,
                      Verification verification) {
  constexpr const char* kLook = "look at it, then rename or remove it";
  const Descriptor file = OpenToRead(job.output);
  if (file < 0)
    return {MakeFinding(Message::kResultDamaged, job.output,
                        "can't be read: " + ErrorText(LastError()), kLook)};
  struct stat status;
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
    return {MakeFinding(Message::kResultDamaged, job.output, "is no regular file", kLook)};
  // Somebody may have copied it there a moment ago.
  const Descriptor folder = OpenToRead(FolderOf(job.output));
  for (const int descriptor : {int{file}, int{folder}}) {
    if (const std::error_code error = descriptor < 0 ? std::error_code() : Flush(descriptor))
      return {MakeFinding(Message::kOutputUnflushed, job.output,
                          "can't be flushed to the disk: " + ErrorText(error),
                          "check the disk before you delete the clips")};
  }
  CheckOptions made;
  made.fitting = FittingOfResult(job.output, job.inputs, fitting);
  const auto fit = FitOf(job.inputs, made.fitting, std::numeric_limits<long long>::max()).fit;
  const bool isFitted = fit != nullptr && fit->IsNeeded();
  FileBytes bytes(file);
  if (verification == Verification::kFull) bytes.ForgetCached();
  TopLevel boxes;
  if (const Reason wrong = boxes.Read(bytes))
    return {MakeFinding(Message::kResultDamaged, job.output, *wrong, kLook)};
  const Fit* const needed = isFitted ? fit.get() : nullptr;
  const std::vector<std::string> titles = ChapterTitlesOf(made, job.inputs);
  // The bytes would differ, too, which sounds like a disk that loses data.
  if (made.fitting.chapters && ChapterTitlesIn(bytes) != titles)
    return {MakeFinding(Message::kOutputDiffers, job.output,
                        "has no chapters of the names that the clips have", kLook)};
  MergeImage image;
  if (Findings faults = MakeMergeImage({job.inputs, boxes.layout, needed}, image); !faults.empty())
    return faults;
  return Verify({job.inputs, image, job.output, bytes, true, progress, needed, titles});
}

JoinReport RunJobs(const JoinPlan& plan, const JoinOptions& options, const JobWork& work) {
  return Joining(plan, options, work).Run();
}

JoinReport Join(const JoinPlan& plan, const JoinOptions& options) {
  return RunJobs(plan, options, JobWork());
}

}  // namespace clipchain
