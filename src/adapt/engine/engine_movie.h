// Writes a movie box as the engine can take it, and the engine's result as the first clip had it.
#pragma once

#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/clips/media_map.h"

namespace clipchain {

// What of a movie the engine reads: headers, tables, the boxes that it keeps as they are, and in
// place of each sample entry one that stands for it, of the same type where the engine's class for
// that type allows it. Tracks have the identifiers and stand-in entries of `first`, track by track,
// so that the engine takes those at the same place for partners. Chunk offsets are those of the
// view; what lies outside of the media begins at 0 there. Without `media` they stay as they are.
RawBox EngineMovie(const RawBox& movie, const RawBox& first, const MediaMap* media);

// The tables, durations and camera's identifiers of the engine's result put into the first clip's
// movie box. Nothing: they do not belong together.
std::optional<RawBox> MergedMovie(const RawBox& first, RawBox engines);

}  // namespace clipchain
