// Reads what a sample entry says about the stream of its samples.
#pragma once

#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

struct StreamDescription {
  // objectTypeIndication; 0 where none is told.
  unsigned int objectType = 0;
  // DecoderSpecificInfo.
  Bytes specific;
};

// Out of the "esds" box of a sound entry (ISO/IEC 14496-14, 5.6), be it inside
// of a "wave" box.
StreamDescription DescribeStream(const Bytes& entry);

}  // namespace clipchain::rescue
