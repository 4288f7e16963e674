#include "workflow/checks/fitted_clips.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

struct Row {
  FitProblemKind kind;
  Message message;
};

constexpr Row kRows[] = {
    {FitProblemKind::kBoxDamaged, Message::kBoxDamaged},
    {FitProblemKind::kBoxLost, Message::kFirstBoxOnly},
    {FitProblemKind::kChaptersThere, Message::kChaptersThere},
    {FitProblemKind::kChaptersImpossible, Message::kChaptersImpossible},
    {FitProblemKind::kEditsCut, Message::kEditsCut},
    {FitProblemKind::kFileCutOff, Message::kFileCutOff},
    {FitProblemKind::kFragmented, Message::kFragmented},
    {FitProblemKind::kHeaderMissing, Message::kHeaderMissing},
    {FitProblemKind::kInputUnreadable, Message::kInputUnreadable},
    {FitProblemKind::kMediaCutOff, Message::kMediaCutOff},
    {FitProblemKind::kMediaTimeScale, Message::kMediaTimeScale},
    {FitProblemKind::kMemoryLimit, Message::kMemoryLimit},
    {FitProblemKind::kMovieMissing, Message::kMovieMissing},
    {FitProblemKind::kMovieTimeScale, Message::kMovieTimeScale},
    {FitProblemKind::kMovieTooLarge, Message::kMovieTooLarge},
    {FitProblemKind::kSampleDescription, Message::kSampleDescription},
    {FitProblemKind::kSamplesOutsideMedia, Message::kSamplesOutsideMedia},
    {FitProblemKind::kShownOtherwise, Message::kShownOtherwise},
    {FitProblemKind::kTableLost, Message::kFirstTableOnly},
    {FitProblemKind::kTablesDisagree, Message::kTablesDisagree},
    {FitProblemKind::kTopLevelBoxLost, Message::kTopLevelBoxLost},
    {FitProblemKind::kTrackCount, Message::kTrackCount},
    {FitProblemKind::kTrackDrift, Message::kTrackDrift},
    {FitProblemKind::kTrackWithoutPartner, Message::kTrackWithoutPartner},
};

Message MessageOf(FitProblemKind kind) {
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows),
                                 [kind](const Row& candidate) { return candidate.kind == kind; });
  // A kind that is new here is refused rather than passed over.
  return row != std::end(kRows) ? row->message : Message::kInputRefused;
}

}  // namespace

FittedClips FitOf(const std::vector<std::string>& inputs, const Fitting& fitting,
                  long long memoryLimit) {
  FittedClips clips;
  if (fitting.exact || inputs.empty()) return clips;
  // A pipe would keep whoever opens it waiting.
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (WhyUnreadable(inputs[i])) clips.unread.insert(i);
  }
  if (!clips.unread.empty()) return clips;
  FitOptions options;
  options.commonTracks = fitting.commonTracks;
  options.seamsAsTheyAre = fitting.seamsAsTheyAre;
  options.chapters = fitting.chapters;
  options.titles = fitting.titles;
  options.memoryLimit = memoryLimit;
  auto fit = std::make_shared<const Fit>(inputs, options);
  for (const FitProblem& problem : fit->Report().problems) {
    if (problem.kind == FitProblemKind::kInputUnreadable) clips.unread.insert(problem.clip);
  }
  clips.growth = fit->Growth();
  const bool isFlawless = fit->Report().problems.empty();
  // Of clips that are read as they are though something speaks against it, the fit knows too
  // little.
  if (fit->IsNeeded() || isFlawless) clips.clocks = fit->Clocks();
  if (fit->IsNeeded() || !isFlawless) clips.fit = std::move(fit);
  return clips;
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
  // A check has told of the same thing, with its box; two problems of one kind are told both.
  const Findings before = findings.All();
  for (const FitProblem& problem : fit.Report().problems) {
    const Message message = MessageOf(problem.kind);
    // What boxes are lost is told box by box.
    const std::string type = problem.kind == FitProblemKind::kBoxLost
                                 ? problem.box.substr(problem.box.find_last_of('/') + 1)
                                 : std::string();
    const bool isTold = std::any_of(before.begin(), before.end(), [&](const Finding& finding) {
      return finding.message == message && finding.box.find(type) != std::string::npos;
    });
    if (problem.clip != clip) continue;
    if (isTold) {
      // The fit knows whether other tracks have partners.
      const bool isOfPartners = problem.kind == FitProblemKind::kTrackCount ||
                                problem.kind == FitProblemKind::kTrackWithoutPartner;
      if (isOfPartners) findings.SetRemedy(message, problem.remedy);
      continue;
    }
    Finding& finding = findings.Add(message, problem.text, problem.remedy);
    if (!IsWarning(problem.kind)) finding.severity = std::max(finding.severity, Severity::kRisk);
    if (problem.kind == FitProblemKind::kMemoryLimit) finding.result = E_OUTOFMEMORY;
    finding.track = problem.track;
    finding.box = problem.box;
    finding.offset = problem.offset;
  }
}

}  // namespace clipchain
