// Holds what the clips declare about bit rates and frames against what their result does.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workflow/oracle/sample_description.h"

namespace clipchain::samples {

// Of one sample description of the result.
class DeclaredRates {
 public:
  // `clips` is the clip's description for `ours`, alike but for such fields.
  void Add(const Description& ours, const Description& clips);

  // What is not true of the media of all clips: an amount that is too small for one of them, an
  // unknown amount that is given, or one that differs where all clips say the same.
  std::optional<std::string> FaultOf(const Description& ours) const;

 private:
  struct Rates {
    BitRates most;
    // All of them the same.
    bool same = true;
  };
  struct Frames {
    FrameStatistics all;
    bool same = true;
  };

  void AddFrames(const Description& clips);

  std::vector<Rates> rates_;
  std::vector<Frames> frames_;
};

}  // namespace clipchain::samples
