// Shows the engine a clip that it refuses as it is, so that it takes it.
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

}  // namespace clipchain
