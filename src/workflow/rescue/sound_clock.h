// Tells by the time that sound and pictures take whether both go on as one
// recording does: how far the one is ahead of the other in the media.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "workflow/rescue/harvest.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

// How far the sound in front of a picture reaches beyond the pictures, in the
// reference: it must be written in the order of time, so that it varies by
// little more than one length of a sample.
struct SoundLead {
  std::size_t track = 0;
  // Of a sample and of a picture, in one unit.
  std::int64_t sample = 0;
  std::int64_t picture = 0;
  // From the least to the most. Each clip begins with another difference.
  std::int64_t width = 0;
  // The most pictures from one piece of it to the next, or in front of the first one.
  std::uint64_t longestPause = 0;

  std::int64_t Of(std::uint64_t samples, std::uint64_t pictures) const {
    return static_cast<std::int64_t>(samples) * sample -
           static_cast<std::int64_t>(pictures) * picture;
  }
};

std::vector<SoundLead> LearnLeads(const Reference& reference, std::size_t video);

class SoundClock {
 public:
  // Sound goes further apart from the pictures than ever in the reference.
  struct Apart {
    // It begins to at one of so many pictures in front of the last one, or at that.
    std::uint64_t pictures = 0;
    // So many stand there without sound.
    std::uint64_t pause = 0;
  };

  // The leads must outlive this object.
  explicit SoundClock(const std::vector<SoundLead>& leads) : leads_(leads), seen_(leads.size()) {}

  // Takes the next picture, behind so many and behind the sound that was found. Nothing: both go on
  // as they did.
  std::optional<Apart> Take(const Harvest& found, std::uint64_t pictures);
  // Forgets how far they were apart: pictures or pieces of sound may have been left out.
  void Restart() { std::fill(seen_.begin(), seen_.end(), Seen()); }

 private:
  struct Seen {
    // Samples in front of the last picture that had any, the pictures in front of it, and how far
    // the sound was ahead there.
    std::uint64_t samples = 0;
    std::uint64_t pictures = 0;
    std::int64_t last = 0;
    std::optional<std::int64_t> least;
    std::int64_t most = 0;
    void Take(std::int64_t ahead);
  };

  const std::vector<SoundLead>& leads_;
  std::vector<Seen> seen_;
};

}  // namespace clipchain::rescue
