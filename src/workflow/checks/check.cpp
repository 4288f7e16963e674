#include "workflow/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "clip/sequence.h"
#include "workflow/checks/ahead.h"
#include "workflow/checks/clip_look.h"
#include "workflow/checks/drift_check.h"
#include "workflow/checks/fitted_clips.h"
#include "workflow/checks/order_check.h"
#include "workflow/checks/output_check.h"
#include "workflow/checks/rehearsal.h"
#include "workflow/clips/clip_file.h"
#include "workflow/findings/clip_words.h"
#include "workflow/findings/file_findings.h"
#include "workflow/system/files.h"
#include "workflow/system/machine_memory.h"

namespace clipchain {

namespace {

// What the boxes of a clip may take that is looked at while the one before it is merged: larger
// ones take long by themselves, and their memory counts. Several are looked at.
constexpr long long kMostAhead = 4 << 20;
constexpr long long kShareAhead = 64;

// What stops a merge of clips as they are alone, and what stops any.
constexpr std::initializer_list<Message> kToBeAdapted = {
    Message::kEditListDiffers, Message::kMediaTimeScale,    Message::kMovieTimeScale,
    Message::kOffsetsMisread,  Message::kSampleDescription, Message::kTableMissing};
constexpr std::initializer_list<Message> kPartners = {Message::kTrackCount,
                                                      Message::kTrackWithoutPartner};

class CheckRun {
 public:
  // `merge`: gets what a merge needs, unless it is null.
  CheckRun(const std::vector<std::string>& inputs, const CheckOptions& options,
           const Layout& layout = {}, CheckedMerge* merge = nullptr)
      : inputs_(inputs),
        options_(options),
        merge_(merge),
        memoryLimit_(options.memoryLimit > 0 ? options.memoryLimit : HalfOfTheMachine()),
        rehearsal_(memoryLimit_, layout),
        result_(options.output) {
    for (const std::string& input : inputs) files_.emplace_back(input);
    ownFindings_.resize(inputs.size());
  }

  CheckReport Run() {
    if (inputs_.empty())
      result_.Add(Message::kNothingToMerge, "no clip was given", "name at least one clip");
    if (options_.fitting.exact && options_.fitting.chapters)
      result_.Add(Message::kChaptersImpossible,
                  "can't have chapters where nothing is adapted: their box is one more",
                  "merge without --exact, or without --chapters");
    CheckReport report;
    FittedClips fitted = FitOf(inputs_, options_.fitting, memoryLimit_);
    fit_ = std::move(fitted.fit);
    unread_ = std::move(fitted.unread);
    clocks_ = std::move(fitted.clocks);
    rehearsal_.ExpectGrowth(fitted.growth);
    const bool lacksMemory = LacksMemory();
    report.stopped = !lacksMemory && !CheckClips();
    if (!lacksMemory && !report.stopped) CheckTogether(report);
    if (IsFitted()) {
      report.adaptations = AdaptationsOf(*fit_, inputs_);
      if (merge_ != nullptr) merge_->fit = fit_;
    }
    for (const FileFindings& file : files_) Append(report.findings, file);
    Append(report.findings, result_);
    return report;
  }

 private:
  bool IsFitted() const { return fit_ != nullptr && fit_->IsNeeded(); }

  // Each by itself and beside the first one. False if the caller does not want to go on.
  bool CheckClips() {
    const Fit* const fit = IsFitted() ? fit_.get() : nullptr;
    const long long memory = std::min(kMostAhead, memoryLimit_ / kShareAhead);
    Ahead<ClipLook> looks(inputs_.size(), [&](std::size_t i) {
      return ClipLook({inputs_[i], fit, i, inputs_.size() == 1, clocks_.clips.empty()}, memory);
    });
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
      if (options_.progress &&
          !options_.progress({Step::Phase::kChecking, i, 0, 0, inputs_.size()})) {
        result_.Add(
            Message::kMergeStopped,
            options_.output.empty()
                ? fmt::format("the check was stopped before clip {} of {}", i + 1, inputs_.size())
                : "was not made: the check of the clips was stopped",
            "run it again");
        return false;
      }
      CheckClip(i, looks.Take());
      if (fit_ != nullptr && fit_->IsAdapted()) AddFitProblems(*fit_, i, files_[i]);
      if (unread_.count(i) != 0) SayItIsUnreadable(files_[i]);
      files_[i].ForgetPlaces();
    }
    TellPartnersFirst();
    return true;
  }

  // Behind the search for partners nothing was adapted where it failed, and what the clips differ
  // in as they are would not stop the merge.
  void TellPartnersFirst() {
    if (fit_ == nullptr || !fit_->Report().LacksPartners()) return;
    const bool isRefused =
        std::any_of(files_.begin(), files_.end(),
                    [](const FileFindings& findings) { return findings.Refuses(kPartners); });
    if (!isRefused) return;
    for (std::size_t i = 0; i < files_.size(); ++i) {
      files_[i].RemoveBehind(ownFindings_[i], kToBeAdapted);
      files_[i].PutFirst(kPartners);
    }
  }

  // To see whether clips need to be adapted takes more memory than to merge them as they are, and
  // how much there is must not decide which of the two is done. What else would be found of clips
  // that nobody adapts says nothing of them.
  bool LacksMemory() {
    if (fit_ == nullptr || fit_->IsAdapted()) return false;
    const std::vector<FitProblem>& problems = fit_->Report().problems;
    const bool isShort = std::any_of(
        problems.begin(), problems.end(),
        [](const FitProblem& problem) { return problem.kind == FitProblemKind::kMemoryLimit; });
    for (std::size_t i = 0; isShort && i < files_.size(); ++i) AddFitProblems(*fit_, i, files_[i]);
    return isShort;
  }

  // A clip that could be read only the second time was not fitted, and nobody knows what of it
  // would be lost.
  static void SayItIsUnreadable(FileFindings& findings) {
    const bool isTold = std::any_of(
        findings.All().begin(), findings.All().end(),
        [](const Finding& finding) { return finding.message == Message::kInputUnreadable; });
    if (!isTold)
      findings.Add(Message::kInputUnreadable, "could not be read at first",
                   "check the disk or the card, then try again");
  }

  // What they give together.
  void CheckTogether(CheckReport& report) {
    const bool isFitted = IsFitted();
    rehearsal_.Finish(isFitted ? [this](Bytes movie) { return fit_->Complete(std::move(movie)); }
                               : MovieCompletion(),
                      result_, merge_ != nullptr ? &merge_->image : nullptr);
    drift_.holds = NoHolds(drift_.clips);
    // Views say when samples are decoded, and the clips when they are shown.
    report.seams = CheckDrift(clocks_.clips.empty() ? drift_ : clocks_, files_);
    CheckOrder(order_, files_);
    report.outputSize = rehearsal_.OutputSize();
    if (options_.output.empty()) return;
    const OutputPlace place = PlaceOf(options_.output);
    CheckOutput(options_.output, options_.overwrite, inputs_, place, result_);
    CheckSpace(report.outputSize, place, result_);
    if (options_.overwrite) CheckReplaced();
  }

  // What the output would replace may be a clip that nobody meant: a shell puts the first of many
  // names behind the option. The result of an earlier merge has the first clip's identifier.
  void CheckReplaced() {
    ClipFile old(options_.output);
    if (order_.empty() || old.Parse() != S_OK) return;
    const OrderFacts facts = OrderFactsOf(old);
    if (MP4G::IsZeroIdentifier(facts.id) || facts.id == order_.front().id) return;
    result_.Add(Message::kOutputIsClip,
                fmt::format("is a clip with the identifier {}, or the result of a merge that began "
                            "with it, and no earlier result of these clips",
                            GuidWords(facts.id)),
                "choose another name; if it is needed no more, remove it first");
  }

  static void Append(Findings& findings, const FileFindings& file) {
    findings.insert(findings.end(), file.All().begin(), file.All().end());
  }

  void CheckClip(std::size_t index, ClipLook look) {
    FileFindings& findings = files_[index];
    CheckNamedOnce(index, findings);
    drift_.clips.emplace_back();
    const bool isParsed = Take(look, findings);
    order_.push_back(look.order);
    if (isParsed) {
      ownFindings_[index] = findings.All().size();
      rehearsal_.Take(look.clip, look.view.get(), findings);
      NoteTimes(look);
    } else {
      rehearsal_.GiveUp();
    }
    if (look.view.get() != nullptr)
      findings.MoveOffsets([&look](long long at) { return look.view->FilePosition(at); });
  }

  // False: the clip can't be parsed, or there is not enough memory for it.
  bool Take(ClipLook& look, FileFindings& findings) {
    const bool isOpen = look.clip != nullptr && !look.clip->WhyUnreadable();
    if (isOpen && !rehearsal_.HasRoomFor(*look.clip, findings)) return false;
    look.Look();
    findings.Append(std::move(look.findings));
    return look.isParsed;
  }

  // Clips of another scale are refused where nothing is adapted.
  void NoteTimes(const ClipLook& look) {
    ClipTimes& clip = drift_.clips.back();
    const ClipTimes& first = drift_.clips.front();
    for (const TrackPair& pair : rehearsal_.Pairs()) {
      const auto times = look.times.find(pair.second);
      const bool isFirst = drift_.clips.size() == 1;
      if (times == look.times.end() ||
          (!isFirst &&
           (clip.size() == first.size() || times->second.scale != first[clip.size()].scale)))
        return;
      clip.push_back(times->second);
    }
  }

  void CheckNamedOnce(std::size_t index, FileFindings& findings) {
    const auto identity = IdentityOf(inputs_[index]);
    if (!identity) return;
    const auto [place, isNew] = seen_.try_emplace(*identity, index);
    if (isNew) return;
    findings.Add(Message::kSameInputTwice,
                 fmt::format("is the same file as {}, clip {} of the list",
                             PrintablePath(inputs_[place->second]), place->second + 1),
                 "name each clip once");
  }

  const std::vector<std::string>& inputs_;
  const CheckOptions& options_;
  CheckedMerge* const merge_;
  const long long memoryLimit_;
  std::shared_ptr<const Fit> fit_;
  // By the fit.
  std::set<std::size_t> unread_;
  // By the fit; where it knows none, what the looks at the clips find.
  ClipClocks clocks_;
  Rehearsal rehearsal_;
  std::vector<FileFindings> files_;
  // How many of a clip's findings are about it alone; the others come behind them.
  std::vector<std::size_t> ownFindings_;
  FileFindings result_;
  std::map<FileIdentity, std::size_t> seen_;
  std::vector<OrderFacts> order_;
  ClipClocks drift_;
};

}  // namespace

CheckReport Check(const std::vector<std::string>& inputs, const CheckOptions& options) {
  return CheckRun(inputs, options).Run();
}

CheckReport CheckFitted(const std::vector<std::string>& inputs, const CheckOptions& options,
                        const Layout& layout, CheckedMerge& merge) {
  return CheckRun(inputs, options, layout, &merge).Run();
}

}  // namespace clipchain
