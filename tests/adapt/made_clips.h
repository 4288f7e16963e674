// Clips of which there is the movie box alone, as adaptations get them.
#pragma once

#include <vector>

#include "adapt/boxes/tracks.h"
#include "adapt/clips/adaptation.h"
#include "adapt/fragment_boxes.h"
#include "support/movie_builder.h"

namespace clipchain {

// The movie box of a file.
inline RawBox MovieOf(const support::MovieBuilder& builder) {
  const support::Bytes file = builder.Build();
  const auto begin = file.begin() + static_cast<std::ptrdiff_t>(support::FindBox(file, "moov"));
  return RawBoxOf(support::Bytes(begin, file.end()));
}

inline FitClip ClipOf(const support::MovieBuilder& builder) {
  FitClip clip("clip.mp4");
  clip.movie = MovieOf(builder);
  return clip;
}

inline FitClips ClipsOf(const std::vector<support::MovieBuilder>& builders) {
  FitClips clips;
  for (const support::MovieBuilder& builder : builders) clips.push_back(ClipOf(builder));
  return clips;
}

inline void AdaptEach(ClipAdaptation adapt, FitClips& clips, FitReport& report) {
  for (std::size_t i = 0; i < clips.size(); ++i) adapt(clips[i], i, report);
}

// The identifiers of the tracks of a movie box.
using Ids = std::vector<unsigned int>;
inline Ids IdsOf(const RawBox& movie) {
  Ids ids;
  for (const RawBox* track : TracksOf(movie)) ids.push_back(RawTrackId(*track));
  return ids;
}

}  // namespace clipchain
