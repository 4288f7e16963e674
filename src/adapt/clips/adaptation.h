// Makes clips fit each other in one way: what every such file offers to `Fit`.
#pragma once

#include <cstddef>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"

namespace clipchain {

using FitClips = std::vector<FitClip>;

// An adaptation stands in files of its own and has one line in `Fit`, which says at which place of
// its row it stands: each sees what those before it have made of the clips. What edits movie boxes
// and lists of media says each thing it does, once for each clip and track, and what it can't do. A
// clip without a note keeps every byte.

// Adapts one clip by itself: a function, called for several clips at once while they are opened, so
// that it may read more of the file. What is done for the first clip alone is done for index 0.
using ClipAdaptation = void (*)(FitClip& clip, std::size_t index, FitReport& report);

// Adapts clips to each other: a class with a function that makes it
// (`std::unique_ptr<Adaptation> MakeTrackOrder(const FitOptions&)`), made for one list of clips and
// used once.
class Adaptation {
 public:
  virtual ~Adaptation() = default;

  // Looks at the clips, of which there is at least one, and edits them so that the engine can take
  // them. All clips are readable, each has a movie box and was adapted by itself. Behind the
  // adaptation of the track order, all have as many tracks as the first one, and those that
  // continue each other stand at the same place. Chunk offsets stay positions in the clip's own
  // file; they are moved into the view afterwards.
  virtual void Adapt(FitClips& clips, FitReport& report) = 0;

  // Edits the movie box of the result: that of the first clip as this row of adaptations left it,
  // with the tables, durations and identifiers of the merged clips in it. What was taken out of
  // every clip is joined and put in here. May be called again for a comparison, with the same
  // outcome.
  virtual void Complete(RawBox& movie) const { static_cast<void>(movie); }
};

}  // namespace clipchain
