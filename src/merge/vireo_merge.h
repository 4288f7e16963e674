// What a merge does with the camera's identifiers.
#pragma once

#include "box/top_level_boxes.h"
#include "foundation/result.h"

namespace MP4G {

class CMergeForVireo {
 public:
  CMergeForVireo() = delete;

  // Makes the merged movie `first` point at the clip that follows `second`: the next identifier in
  // its bytes becomes that of `second`. Its other identifiers and everything else stay. S_FALSE:
  // `second` has no identifiers, or is no clip of the maker's that could be read. A clip of the
  // maker's that could not be read gives the code of the analysis (CVireoMp4::ParseMovieBox).
  [[nodiscard]] static HRESULT MergeVRFBBox(CMovieBox* first, CMovieBox* second);
};

}  // namespace MP4G
