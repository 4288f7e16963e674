// Keeps the tracks of clips in step where one clip follows the other.
//
// The result appends the media of each track by itself and carries the first clip's edit list. So
// what one clip has too much or too little of a track moves all that follows in it, against the
// other tracks.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/times/timeline.h"

namespace clipchain {

// The tracks of one clip, in the order of those of the first clip that they continue.
using ClipTimes = std::vector<TrackTimes>;

// By clip and track: how much longer the last sample is shown than the clip says, in ticks of the
// first clip's track.
using SampleHolds = std::vector<std::vector<std::uint32_t>>;

// What decides when each track of the result is shown.
struct ClipClocks {
  std::vector<ClipTimes> clips;
  SampleHolds holds;
};

// How far the tracks of a clip may be apart at a seam: half a frame of the sound, or half of 1,024
// samples at 48 kHz, where the sound has no frames or is none.
Moment SeamTolerance(const ClipTimes& first);

// Picture and sound wait for a track of another kind that is up to that far ahead of them; beyond
// it, what they would show is worse than what is read late.
inline constexpr Moment kMostPatience = Moment{kUnitsASecond} * 80 / 1000;

// What keeps the tracks of each clip together as they are in that clip alone, to within the
// tolerance. The track that is behind waits for the one that is ahead; nothing is ever shown
// shorter. Clips that are apart by up to a frame and come back within the tolerance by themselves
// in the next one are left as they are. Without `waits` nobody waits. A track of which the first
// clip has no samples begins beside the others in the clip that has some: what the first clip's
// `shown` says of it becomes the list that the result needs. All clips have as many tracks as the
// first, and scales that convert to the first's without a rest.
ClipClocks PlannedClocks(std::vector<ClipTimes> clips, bool waits);
// How long samples are held without waiting: not at all.
SampleHolds NoHolds(const std::vector<ClipTimes>& clips);

// How much later in the result than in the clip alone each track of each clip is shown. Nothing for
// a track without samples there.
using Shifts = std::vector<std::vector<std::optional<Moment>>>;
Shifts ShiftsOf(const ClipClocks& clocks);

// When each track of the result ends; nothing for one without samples.
std::vector<std::optional<Moment>> EndsOf(const ClipClocks& clocks);

// Shows the last sample of the track that much longer. False: there is none, or it would last
// longer than programs read; then nothing is changed.
[[nodiscard]] bool HoldLastSample(RawBox& trak, std::uint32_t ticks);

}  // namespace clipchain
