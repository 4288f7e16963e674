// Tracks as an encoder writes them, for tests: pictures at 25 a second, frames of sound at 48 kHz.
#pragma once

#include <cstdint>

#include "adapt/times/timeline.h"

namespace clipchain {

inline TrackSource Picture(std::uint32_t pictures) {
  TrackSource source;
  source.id = 1;
  source.kind = MediaKind::kPicture;
  source.scale = 12800;
  source.movieScale = 1000;
  if (pictures != 0) source.times = {{pictures, 512}};
  return source;
}

// Four pictures of which the second is shown last, all shown two pictures later than decoded.
inline TrackSource PictureWithLaterOnes() {
  TrackSource source = Picture(4);
  source.offsets = {{1, 1024}, {1, 2048}, {2, 512}};
  return source;
}

inline TrackSource Sound(std::uint32_t frames) {
  TrackSource source;
  source.id = 2;
  source.kind = MediaKind::kSound;
  source.scale = 48000;
  source.movieScale = 1000;
  if (frames != 0) source.times = {{frames, 1024}};
  return source;
}

}  // namespace clipchain
