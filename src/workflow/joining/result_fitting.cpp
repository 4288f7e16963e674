#include "workflow/joining/result_fitting.h"

#include "workflow/companion.h"
#include "workflow/keeping/originals_archive.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/result_chapters.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

// Those that the archive beside the result keeps; none without one that can be read.
std::vector<std::string> KeptTitles(const std::string& result) {
  const std::string path = result + std::string(kOriginalsSuffix);
  if (!Exists(path)) return {};
  FileBytes file(path);
  OriginalsReader archive;
  if (archive.Open(file)) return {};
  return archive.Contents().options.titles;
}

}  // namespace

Fitting FittingOfResult(const std::string& result, const std::vector<std::string>& clips,
                        const Fitting& asked) {
  if (asked.chapters || asked.exact || clips.empty()) return asked;
  FileBytes file(result);
  const std::vector<std::string> titles = ChapterTitlesIn(file);
  FileBytes first(clips.front());
  // A result has what its first clip had: such chapters don't tell how it was merged.
  if (titles.size() != clips.size() || !ChapterTitlesIn(first).empty()) return asked;
  CheckOptions made;
  made.fitting = asked;
  made.fitting.chapters = true;
  made.fitting.titles.clear();
  // Clips may have got other names since. All of an archive is read to be believed: only then.
  if (titles != ChapterTitlesOf(made, clips)) made.fitting.titles = KeptTitles(result);
  return made.fitting;
}

}  // namespace clipchain
