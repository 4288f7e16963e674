// Collects what samples of video say about themselves, one after the other in the order
// of decoding.
#pragma once

#include <optional>

#include "workflow/rescue/access_units.h"
#include "workflow/rescue/harvest.h"

namespace clipchain::rescue {

// The facts of the picture that comes next.
PictureFacts TakeFacts(const VideoSyntax& syntax, const AccessUnit& unit, PictureOrder& order);

class PictureReader {
 public:
  // All must outlive this object.
  PictureReader(MediaWindow& window, const VideoSyntax& syntax, const UnitHabits& habits)
      : window_(window), syntax_(syntax), habits_(habits) {}

  // Nothing: the sample is no whole access unit.
  std::optional<PictureFacts> Take(std::uint64_t position, std::uint64_t size);

 private:
  MediaWindow& window_;
  const VideoSyntax& syntax_;
  const UnitHabits& habits_;
  PictureOrder order_;
};

}  // namespace clipchain::rescue
