// Tells how pieces of several tracks of sound follow one another, where nothing in the pieces says
// of which track they are: by the time that each track has come to.
#pragma once

#include <cstdint>
#include <vector>

#include "workflow/rescue/frame_methods.h"
#include "workflow/rescue/harvest.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

class SoundOrder {
 public:
  // Learns how far each track is ahead of the others where a piece of it ends. `alike` are the
  // tracks whose pieces look alike.
  void Learn(const Reference& reference, std::vector<std::size_t> alike);
  bool Has(std::size_t track) const;
  // Whether a piece of the track may end behind so many samples of each track.
  bool MayEnd(std::size_t track, const std::vector<std::uint64_t>& samples) const;

 private:
  struct Lead {
    // Index in tracks_.
    std::size_t track = 0;
    std::size_t other = 0;
    std::int64_t least = 0;
    std::int64_t most = 0;
  };
  std::int64_t Ahead(std::size_t one, std::size_t other,
                     const std::vector<std::uint64_t>& samples) const;
  void TakeEnd(std::size_t one, const std::vector<std::uint64_t>& samples);

  std::vector<std::size_t> tracks_;
  // Of a sample of each, in parts of a second that are the same for all of them.
  std::vector<std::uint64_t> steps_;
  std::vector<Lead> leads_;
};

}  // namespace clipchain::rescue
