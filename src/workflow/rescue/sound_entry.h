// Reads what a sample entry says about the stream of its samples.
#pragma once

#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

struct StreamDescription {
  unsigned int objectType = 0;  // objectTypeIndication; 0 where none is told
  Bytes specific;               // DecoderSpecificInfo
};

// Out of the "esds" box of a sound entry (ISO/IEC 14496-14, 5.6), be it inside
// of a "wave" box.
StreamDescription DescribeStream(const Bytes& entry);

}  // namespace clipchain::rescue
