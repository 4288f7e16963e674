// Finds the identifier of the clip that comes next, which a camera puts into a box of the user's
// type in the movie box.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

inline constexpr std::size_t kIdentifierSize = 16;

// Whether the body of a "uuid" box is the camera's.
bool IsCameras(View body);

// Where that body has the identifier, by its first bytes; a merge writes all of them.
std::vector<std::size_t> NextClipPlaces(View body);

// The identifier in a movie box: the last one of the first box of the camera's. Nothing without
// one.
std::optional<std::string> NextClipOf(View movie);

}  // namespace clipchain::samples
