// Finds samples of data that begin as the reference's all do: by the length that follows or that
// all have, or, where there is none, by the picture in front of which the reference's only sample
// ends.
#pragma once

#include <memory>

#include "workflow/rescue/frame_methods.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

// The method for a track of the reference whose samples differ in size; null where its samples have
// no such beginning. `counts` are the numbers of samples that pieces of the track have there.
std::unique_ptr<FrameMethod> MakeMarkedData(const Reference& reference, const ReferenceTrack& track,
                                            const std::vector<std::uint64_t>& counts);

// The same for one whose samples are all of one size.
std::unique_ptr<FrameMethod> MakeEvenData(const Reference& reference, const ReferenceTrack& track);

}  // namespace clipchain::rescue
