// Says when samples are decoded and shown, and where playing may start: by what
// holds in the reference.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "adapt/boxes/track_tables.h"
#include "workflow/rescue/harvest.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

// The pictures of the reference, the first ones, as far as they were read.
using Pictures = std::vector<PictureFacts>;

struct TrackTimes {
  TimeRuns times;
  // none: every sample is shown when it is decoded.
  OffsetRuns offsets;
  // Counted from 1; of use where the reference has a table.
  std::vector<std::uint32_t> syncSamples;
  // "sdtp", a byte for each; empty without one.
  Bytes dependencies;
  bool timesEstimated = false;
  bool offsetsEstimated = false;
  bool syncEstimated = false;
};

// `seen` are the reference's own pictures; empty for tracks that are no
// length-prefixed video.
TrackTimes MakeTimes(const ReferenceTrack& track, const Pictures& seen, const TrackHarvest& found);

// The step of all samples but the last one, which may be cut short; nothing if
// they differ.
std::optional<std::uint32_t> RegularStep(const TimeRuns& times);

}  // namespace clipchain::rescue
