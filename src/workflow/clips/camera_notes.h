// Reads what a camera noted in a movie box about the clip.
#pragma once

#include <optional>
#include <span>

#include "box/top_level_boxes.h"
#include "clip/vireo_mp4.h"
#include "foundation/guid.h"

namespace clipchain {

struct CameraNotes {
  // What stopped the reading, if anything did; what was read ahead of the damage counts, as it does
  // in a merge.
  HRESULT result = S_OK;
  bool cameraStream = false;
  bool hasIdentifiers = false;
  // Zero without identifiers.
  _GUID id{};
  _GUID previous{};
  _GUID next{};
  // The movie header's date stands in for the camera's, which may be behind the damage. Nothing for
  // what is written where there is no clock.
  std::optional<MP4G::_tagSequenceTimedate> date;
};

CameraNotes ReadCameraNotes(MP4G::CMovieBox* movie);

// The bytes of the camera's picture of the clip and what stands behind it in its box; empty without
// one. They are those of the movie box.
std::span<const unsigned char> FindThumbnail(const MP4G::CMovieBox& movie);

}  // namespace clipchain
