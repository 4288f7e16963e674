// Finds samples of data that begin with what the reference's all do, and with their length.
#pragma once

#include <memory>

#include "workflow/rescue/frame_methods.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

// The method for a track of the reference whose samples differ in size; null where its samples have
// no such beginning.
std::unique_ptr<FrameMethod> MakeMarkedData(const Reference& reference,
                                            const ReferenceTrack& track);

}  // namespace clipchain::rescue
