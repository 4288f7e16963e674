// Says what fitting clips to each other does, and what it can't do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace clipchain {

// The kinds of adaptation there are.
enum class AdaptationKind {
#define CLIPCHAIN_ADAPTATION(id, name, words) id,
#include "adapt/clips/adaptations.inc"
#undef CLIPCHAIN_ADAPTATION
};

// The name by which programs know it: "top-level".
std::string_view AdaptationName(AdaptationKind kind);
// What is done, for people: "boxes at the top level that …".
std::string_view AdaptationWords(AdaptationKind kind);

// One thing that is done to a clip.
struct FitNote {
  AdaptationKind kind;
  // Index in the list.
  std::size_t clip;
  // Identifier in that clip; 0 if about no one track.
  unsigned int track;
  // The rest of a sentence that begins with the path.
  std::string text;
};

// What speaks against a merge or would be lost in it, in the words of the workflow's messages.
enum class FitProblemKind {
  kBoxDamaged,
  // A warning.
  kBoxLost,
  kChaptersImpossible,
  kChaptersThere,
  kEditsCut,
  kFileCutOff,
  kFragmented,
  kHeaderMissing,
  kInputUnreadable,
  kMediaCutOff,
  kMediaTimeScale,
  kMemoryLimit,
  kMovieMissing,
  kMovieTimeScale,
  kMovieTooLarge,
  kSampleDescription,
  kSamplesOutsideMedia,
  // A warning.
  kShownOtherwise,
  // A warning.
  kTableLost,
  kTablesDisagree,
  // A warning.
  kTopLevelBoxLost,
  kTrackCount,
  // A warning.
  kTrackDrift,
  kTrackWithoutPartner
};

struct FitProblem {
  FitProblemKind kind;
  std::size_t clip;
  // Identifier in that clip; 0 if about no one track.
  unsigned int track = 0;
  // The rest of a sentence that begins with the path.
  std::string text;
  // What to do.
  std::string remedy;
  // Where in the file: "moov/trak[1]"; may be empty.
  std::string box{};
  // Of that box or byte in the file; -1 if it has none.
  long long offset = -1;
};

// Whether the clips can be merged nevertheless.
bool IsWarning(FitProblemKind kind);

// The last sample of one track of a clip is shown longer than in the clip.
struct FitHold {
  std::size_t clip;
  // Identifier in the first clip.
  unsigned int track;
  // Of the first clip's track.
  std::uint32_t ticks;
};

// Grows while the adaptations look at the clips, one after the other.
struct FitReport {
  std::vector<FitNote> notes;
  std::vector<FitProblem> problems;

  // What whoever compares the result with the clips has to know: where they differ on purpose.
  std::vector<FitHold> holds;
  // Seconds by which the tracks of a clip may lie otherwise to each other than in the clip;
  // negative: by any.
  double apart = -1;
  // Identifiers of the first clip's tracks that are not in the result.
  std::set<unsigned int> leftOut;
  // Types of boxes of the first clip that the result lacks.
  std::set<unsigned int> dropped;

  void Note(AdaptationKind kind, std::size_t clip, unsigned int track, std::string text);
  // Takes over what was noted, refused and dropped of one clip.
  void Append(FitReport&& ofClip);
  // The problem may be completed until the next one is added.
  FitProblem& Refuse(FitProblemKind kind, std::size_t clip, unsigned int track, std::string text,
                     std::string remedy);
  // Whether a problem was found that no merge can do with.
  bool Refused() const;
  // Whether tracks of the clips have no partners, so that there is nothing to compare.
  bool LacksPartners() const;
};

}  // namespace clipchain
