// Makes the movie box of a rescued clip: the reference's, with tables of the
// samples that were found.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "workflow/rescue/clip_identity.h"
#include "workflow/rescue/harvest.h"
#include "workflow/rescue/model.h"
#include "workflow/rescue/times.h"

namespace clipchain::rescue {

struct MadeTrack {
  TrackTimes times;
  double seconds = 0;
};

struct MadeMovie {
  RawBox movie;
  // As those of the reference.
  std::vector<MadeTrack> tracks;
};

// `media` is where the first sample will lie; the samples follow one another in
// the order of the harvest's runs.
MadeMovie MakeMovie(const Model& model, const Harvest& harvest, std::uint64_t media,
                    const ClipNames& names);

// Whether a movie box was made like that.
bool IsRescued(const RawBox& movie);

}  // namespace clipchain::rescue
