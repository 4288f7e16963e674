// Finds the track of the result in which a clip's track continues.
#pragma once

#include <string>
#include <vector>

#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

class TrackPairs {
 public:
  // How alike tracks must be: of the same kind with the same descriptions, bit rates aside, then of
  // the same kind and codec at least; or the latter from the start, whatever their names are.
  enum class By { kDescription, kCodec };

  TrackPairs(const SampleFile& result, By by);

  // For each track of the result its partner in the clip, null where there is none. Each track of
  // the clip has one partner at most; `left` holds those without.
  std::vector<const TrackView*> Find(const SampleFile& clip,
                                     std::vector<const TrackView*>& left) const;

 private:
  struct Likeness {
    // Kind, descriptions, name and language.
    std::string named;
    // Kind and descriptions.
    std::string described;
    // Kind and first codec.
    std::string coded;
  };
  static Likeness Of(const TrackView& track);

  By by_;
  std::vector<Likeness> wanted_;
};

}  // namespace clipchain::samples
