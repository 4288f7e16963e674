// Reads what a page shows of a clip beside its name: how long it runs, and the camera's picture.
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

// Reads the movie box alone. If that can't be read the card stays empty, and the code says why. A
// thumbnail that is no picture is left out.
[[nodiscard]] CLIPCHAIN_API HRESULT ReadClipCard(const std::string& path, ClipCard& card);

}  // namespace clipchain
