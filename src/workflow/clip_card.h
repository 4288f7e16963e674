// What a report shows of a clip beside its name: how long it runs, and the camera's picture of it.
#pragma once

#include <string>
#include <vector>

#include "foundation/export.h"
#include "foundation/result.h"

namespace clipchain {

// A picture that is larger than this, in bytes or in pixels of a side, is no thumbnail.
inline constexpr unsigned int kMostThumbnailBytes = 4u << 20;
inline constexpr unsigned int kMostThumbnailSide = 4096;

struct ClipCard {
  // Ticks a second; 0 if the duration is not known.
  unsigned int timeScale = 0;
  // Of the movie, in those ticks.
  long long duration = 0;
  // A whole JPEG stream; empty without one.
  std::vector<unsigned char> thumbnail;
  // Of the thumbnail, in pixels.
  unsigned int width = 0;
  unsigned int height = 0;
};

// Reads the movie box alone. A clip whose movie cannot be read gives the code, and an empty card; a
// thumbnail that is no picture is none.
[[nodiscard]] CLIPCHAIN_API HRESULT ReadClipCard(const std::string& path, ClipCard& card);

}  // namespace clipchain
