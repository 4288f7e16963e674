#include "adapt/tables/fragments.h"

#include <set>
#include <string>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/tables/fragmented_movie.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

bool HasSamples(const RawBox& movie) {
  for (const RawBox* track : TracksOf(movie)) {
    const RawBox* table = SampleTable(*track);
    if (table == nullptr) continue;
    for (const unsigned int type : {FourCc("stsz"), FourCc("stz2")}) {
      const RawBox* box = table->Child(type);
      const auto sizes = box != nullptr ? ReadSizes(*box) : std::nullopt;
      if (sizes && sizes->count != 0) return true;
    }
  }
  return false;
}

bool AddAll(const FitClip& clip, FragmentedMovie& movie, FitProblem& problem) {
  for (const FitBox& box : clip.Layout()) {
    if (box.type != FourCc("moof")) continue;
    const Bytes bytes = clip.Read(box.position, box.size);
    std::span<const unsigned char> in = bytes;
    RawBox fragment;
    if (!fragment.Take(in)) {
      problem.kind = FitProblemKind::kInputUnreadable;
      problem.text = "has a fragment that can't be read";
      problem.remedy = "copy the clip again from the card";
      problem.box = "moof";
      problem.offset = static_cast<long long>(box.position);
      return false;
    }
    if (!movie.Add(fragment, box.position)) return false;
  }
  return true;
}

void TellLosses(const FragmentedMovie& movie, std::size_t index, FitReport& report) {
  std::string left = Quoted(movie.LeftOut());
  if (movie.HasUntoldFlags()) {
    left += std::string(left.empty() ? "" : ", ") + "priorities or padding of samples";
  }
  if (!left.empty()) {
    report.Refuse(FitProblemKind::kTableLost, index, 0,
                  "has in its fragments " + left + ", which a merge leaves out",
                  "keep the clip if you need what it says");
  }
  report.Note(AdaptationKind::kFragments, index, 0,
              "keeps its samples in fragments, which are put into the tables of one movie");
}

}  // namespace

void AdaptFragments(FitClip& clip, std::size_t index, FitReport& report) {
  const FitBox* place = clip.Place(FourCc("moof"));
  if (place == nullptr && clip.movie.Child(FourCc("mvex")) == nullptr) return;
  // A movie that only announces fragments has none of its samples in this file, and a merge of it
  // would hold nothing.
  if (place == nullptr && !HasSamples(clip.movie)) {
    report.Refuse(FitProblemKind::kFragmented, index, 0,
                  "announces samples in fragments and has none: it is the beginning of a stream "
                  "whose segments are other files",
                  "join the segments behind it into one file, and merge that");
    return;
  }
  FragmentedMovie fragmented(
      clip.movie, clip.media,
      [&clip](std::uint64_t position, std::uint64_t size) { return clip.Keep(position, size); });
  FitProblem problem;
  bool isMade = fragmented.Begin();
  if (isMade) isMade = AddAll(clip, fragmented, problem);
  auto movie = isMade ? fragmented.Finish() : std::nullopt;
  if (!movie) {
    FitProblem& told = report.problems.emplace_back(problem.text.empty() ? fragmented.Problem()
                                                                         : std::move(problem));
    // Who reads the movie knows of no list of clips.
    told.clip = index;
    return;
  }
  TellLosses(fragmented, index, report);
  clip.movie = std::move(*movie);
}

}  // namespace clipchain
