// Finds what edit lists cut away, and makes the edit list of the result, which carries the first
// clip's delay and start and shows all media from there on.
#pragma once

#include <cstdint>
#include <string>

#include "adapt/boxes/track_tables.h"
#include "adapt/times/timeline.h"

namespace clipchain {

// Whether the track's edit list hides media that a merge would show again: whole samples, or
// whatever a list that is not plain leaves out. A sample of which a part is shown is shown as a
// whole. Frames of sound that only let a decoder begin, or that fill up the end, are no media to
// hide: up to three of them.
bool IsCut(const TrackTimes& track);

// What would come back, of a track that is cut: the rest of a sentence that begins with the path,
// such as "hides 37 samples (1.480 s) at the start of its track 1 (avc1) by an edit list, and …".
std::string CutWords(const TrackTimes& track);

// "track 1 (avc1)".
std::string TrackWords(const TrackTimes& track);

// The edit list of a track of the result whose last shown sample ends at that tick of the media, in
// the first clip's ticks. Empty where the first clip has none.
Edits MergedEdits(const TrackTimes& first, std::int64_t end);

}  // namespace clipchain
