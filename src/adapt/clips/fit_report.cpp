#include "adapt/clips/fit_report.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace clipchain {

namespace {

struct Row {
  std::string_view name;
  std::string_view words;
};

constexpr Row kRows[] = {
#define CLIPCHAIN_ADAPTATION(id, name, words) {name, words},
#include "adapt/clips/adaptations.inc"
#undef CLIPCHAIN_ADAPTATION
};

const Row& RowOf(AdaptationKind kind) { return kRows[static_cast<std::size_t>(kind)]; }

}  // namespace

std::string_view AdaptationName(AdaptationKind kind) { return RowOf(kind).name; }

std::string_view AdaptationWords(AdaptationKind kind) { return RowOf(kind).words; }

bool IsWarning(FitProblemKind kind) {
  // What is left out or shown otherwise is told; the samples are all there.
  return kind == FitProblemKind::kBoxLost || kind == FitProblemKind::kShownOtherwise ||
         kind == FitProblemKind::kTableLost || kind == FitProblemKind::kTopLevelBoxLost ||
         kind == FitProblemKind::kTrackDrift;
}

void FitReport::Note(AdaptationKind kind, std::size_t clip, unsigned int track, std::string text) {
  notes.push_back({kind, clip, track, std::move(text)});
}

void FitReport::Append(FitReport&& ofClip) {
  // Clips are looked at by several threads, each with a report of its own; these are put together
  // in the order of the clips, so that people read the same whichever was faster.
  std::move(ofClip.notes.begin(), ofClip.notes.end(), std::back_inserter(notes));
  std::move(ofClip.problems.begin(), ofClip.problems.end(), std::back_inserter(problems));
  dropped.merge(ofClip.dropped);
}

FitProblem& FitReport::Refuse(FitProblemKind kind, std::size_t clip, unsigned int track,
                              std::string text, std::string remedy) {
  problems.push_back({kind, clip, track, std::move(text), std::move(remedy)});
  return problems.back();
}

bool FitReport::Refused() const {
  return std::any_of(problems.begin(), problems.end(),
                     [](const FitProblem& problem) { return !IsWarning(problem.kind); });
}

bool FitReport::LacksPartners() const {
  return std::any_of(problems.begin(), problems.end(), [](const FitProblem& problem) {
    return problem.kind == FitProblemKind::kTrackCount ||
           problem.kind == FitProblemKind::kTrackWithoutPartner;
  });
}

}  // namespace clipchain
