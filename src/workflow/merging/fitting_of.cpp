#include "workflow/merging/fitting_of.h"

#include "adapt/boxes/chapter_box.h"

namespace clipchain {

FitOptions FittingOf(const CheckOptions& options, const std::vector<std::string>& clips) {
  FitOptions fitting;
  fitting.exact = options.fitting.exact;
  fitting.commonTracks = options.fitting.commonTracks;
  fitting.seamsAsTheyAre = options.fitting.seamsAsTheyAre;
  fitting.chapters = options.fitting.chapters;
  fitting.titles = ChapterTitlesOf(options, clips);
  return fitting;
}

void SetFitting(CheckOptions& options, const FitOptions& fitting) {
  options.fitting.exact = fitting.exact;
  options.fitting.commonTracks = fitting.commonTracks;
  options.fitting.seamsAsTheyAre = fitting.seamsAsTheyAre;
  options.fitting.chapters = fitting.chapters;
  options.fitting.titles = fitting.titles;
}

std::vector<std::string> ChapterTitlesOf(const CheckOptions& options,
                                         const std::vector<std::string>& clips) {
  std::vector<std::string> titles;
  if (!options.fitting.chapters) return titles;
  for (const std::string& title : options.fitting.titles) titles.push_back(ChapterTitle(title));
  // As the adaptation makes them, so that what is looked for in the result is what was asked for.
  if (!titles.empty()) return titles;
  for (const std::string& clip : clips) titles.push_back(ChapterTitleOf(clip));
  return titles;
}

}  // namespace clipchain
