#include "workflow/checks/fitted_clips.h"

#include <algorithm>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

Message MessageOf(FitProblemKind kind) {
  switch (kind) {
    case FitProblemKind::kBoxDamaged:
      return Message::kBoxDamaged;
    case FitProblemKind::kBoxLost:
      return Message::kFirstBoxOnly;
    case FitProblemKind::kEditsCut:
      return Message::kEditsCut;
    case FitProblemKind::kFileCutOff:
      return Message::kFileCutOff;
    case FitProblemKind::kFragmented:
      return Message::kFragmented;
    case FitProblemKind::kHeaderMissing:
      return Message::kHeaderMissing;
    case FitProblemKind::kInputUnreadable:
      return Message::kInputUnreadable;
    case FitProblemKind::kMediaCutOff:
      return Message::kMediaCutOff;
    case FitProblemKind::kMediaTimeScale:
      return Message::kMediaTimeScale;
    case FitProblemKind::kMemoryLimit:
      return Message::kMemoryLimit;
    case FitProblemKind::kMovieMissing:
      return Message::kMovieMissing;
    case FitProblemKind::kMovieTimeScale:
      return Message::kMovieTimeScale;
    case FitProblemKind::kMovieTooLarge:
      return Message::kMovieTooLarge;
    case FitProblemKind::kSampleDescription:
      return Message::kSampleDescription;
    case FitProblemKind::kSamplesOutsideMedia:
      return Message::kSamplesOutsideMedia;
    case FitProblemKind::kShownOtherwise:
      return Message::kShownOtherwise;
    case FitProblemKind::kTableLost:
      return Message::kFirstTableOnly;
    case FitProblemKind::kTablesDisagree:
      return Message::kTablesDisagree;
    case FitProblemKind::kTopLevelBoxLost:
      return Message::kTopLevelBoxLost;
    case FitProblemKind::kTrackCount:
      return Message::kTrackCount;
    case FitProblemKind::kTrackDrift:
      return Message::kTrackDrift;
    case FitProblemKind::kTrackWithoutPartner:
      return Message::kTrackWithoutPartner;
  }
  return Message::kInputRefused;
}

}  // namespace

std::shared_ptr<const Fit> FitOf(const std::vector<std::string>& inputs, const Fitting& fitting,
                                 long long memoryLimit, std::set<std::size_t>* unread) {
  if (fitting.exact || inputs.empty()) return nullptr;
  // A pipe would keep whoever opens it waiting.
  bool canRead = true;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (WhyUnreadable(inputs[i]).empty()) continue;
    canRead = false;
    if (unread != nullptr) unread->insert(i);
  }
  if (!canRead) return nullptr;
  FitOptions options;
  options.commonTracks = fitting.commonTracks;
  options.seamsAsTheyAre = fitting.seamsAsTheyAre;
  options.memoryLimit = memoryLimit;
  auto fit = std::make_shared<const Fit>(inputs, options);
  for (const FitProblem& problem : fit->Report().problems) {
    if (problem.kind == FitProblemKind::kInputUnreadable && unread != nullptr)
      unread->insert(problem.clip);
  }
  return fit->IsNeeded() || !fit->Report().problems.empty() ? fit : nullptr;
}

std::vector<Adapted> AdaptationsOf(const Fit& fit, const std::vector<std::string>& inputs) {
  std::vector<Adapted> adaptations;
  for (const FitNote& note : fit.Report().notes)
    adaptations.push_back({std::string(AdaptationName(note.kind)),
                           std::string(AdaptationWords(note.kind)), inputs[note.clip], note.track,
                           note.text});
  return adaptations;
}

void AddFitProblems(const Fit& fit, std::size_t clip, FileFindings& findings) {
  // The view has other positions than the file.
  const bool knowsPlaces = std::any_of(
      fit.Report().problems.begin(), fit.Report().problems.end(),
      [&fit, clip](const FitProblem& problem) {
        return problem.clip == clip && problem.kind == FitProblemKind::kSamplesOutsideMedia &&
               (fit.IsNeeded() || problem.box == "moof");
      });
  if (knowsPlaces) findings.Remove(Message::kSamplesOutsideMedia);
  const Findings before = findings.All();
  for (const FitProblem& problem : fit.Report().problems) {
    const Message message = MessageOf(problem.kind);
    const bool isTold = std::any_of(before.begin(), before.end(), [=](const Finding& finding) {
      return finding.message == message;
    });
    if (problem.clip != clip || isTold) continue;
    Finding& finding = findings.Add(message, problem.text, problem.remedy);
    if (!IsWarning(problem.kind)) finding.severity = std::max(finding.severity, Severity::kRisk);
    if (problem.kind == FitProblemKind::kMemoryLimit) finding.result = E_OUTOFMEMORY;
    finding.track = problem.track;
    finding.box = problem.box;
    finding.offset = problem.offset;
  }
}

}  // namespace clipchain
