// Walks through the media of a broken clip, sample by sample.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "workflow/rescue/harvest.h"
#include "workflow/rescue/media_window.h"
#include "workflow/rescue/model.h"

namespace clipchain::rescue {

struct WalkRange {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  // A sample that ends there ends truly.
  bool ends = false;
  // Behind it the file goes on with what is none of the clip's.
  bool overrun = false;
  // A sample begins at its begin, and is no guess.
  bool beginIsSure = true;
};

// Told how far it is, now and then; false ends the walk.
using WalkProgress = std::function<bool(std::uint64_t position)>;

// Finds the samples in a range. All that is found is sure: behind each sample
// stands another one that is, or the range ends there. Begins with the first
// picture, or with what stands in front of it in the reference.
Harvest WalkMedia(const Model& model, MediaWindow& window, const WalkRange& range,
                  const WalkProgress& progress);

// The first picture in a harvest that nothing in front of it is needed for:
// whether a decoder takes it as whole by the reference's description. True
// where there is no length-prefixed video.
bool FirstPictureDecodes(const Model& model, MediaWindow& window, const Harvest& harvest);

}  // namespace clipchain::rescue
