// Shows the engine a clip so that it reads all of it: one that it refuses as it is, or whose
// samples are in fragments.
#pragma once

#include <memory>
#include <string>

#include "adapt/fit.h"
#include "box/top_level_boxes.h"
#include "workflow/clips/clip_file.h"

namespace clipchain {

class AdaptedClip {
 public:
  explicit AdaptedClip(const std::string& path);

  // Of what the engine is shown; null if a merge can't take the clip, whatever is adapted.
  MP4G::CMovieBox* Movie() const { return shown_ ? shown_->Movie() : nullptr; }

 private:
  Fit fit_;
  std::unique_ptr<ClipFile> shown_;
};

// Whether a clip says more adapted than the engine reads off it as it is, `result` being what the
// engine answered.
[[nodiscard]] bool SaysMoreAdapted(const MP4G::CMp4File& file, HRESULT result);

}  // namespace clipchain
