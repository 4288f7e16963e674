// The tree of a built movie.
#pragma once

#include <memory>

#include "box/top_level_boxes.h"
#include "support/box_io.h"
#include "support/movie_builder.h"

namespace support {

// The "moov" box parsed, null if that fails.
inline std::unique_ptr<MP4G::CMovieBox> MovieTree(const MovieBuilder& movie) {
  const Bytes file = movie.Build();
  const auto begin = static_cast<std::ptrdiff_t>(FindBox(file, "moov"));
  return Parsed<MP4G::CMovieBox>(Bytes(file.begin() + begin, file.end()));
}

}  // namespace support
