// Tells by the time that sound and pictures take whether both go on as one
// recording does: how far the one is ahead of the other in the media.
#pragma once

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
};

std::vector<SoundLead> LearnLeads(const Reference& reference, std::size_t video);

class SoundClock {
 public:
  // The leads must outlive this object.
  explicit SoundClock(const std::vector<SoundLead>& leads) : leads_(leads), seen_(leads.size()) {}

  // Takes the next picture, behind so many and behind the sound that was found. False: the
  // sound goes further apart from the pictures than ever in the reference.
  [[nodiscard]] bool Take(const Harvest& found, std::uint64_t pictures);

 private:
  struct Seen {
    // Samples in front of the picture before.
    std::uint64_t samples = 0;
    std::optional<std::int64_t> least;
    std::int64_t most = 0;
    void Take(std::int64_t lead);
  };

  const std::vector<SoundLead>& leads_;
  std::vector<Seen> seen_;
};

}  // namespace clipchain::rescue
