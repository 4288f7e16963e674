#include "workflow/rescue/sound_clock.h"

#include <algorithm>

#include "foundation/fourcc.h"
#include "workflow/rescue/times.h"

namespace clipchain::rescue {

namespace {

// Fewer do not show how far the sound is ahead at most.
constexpr std::int64_t kEnoughPictures = 48;

// Of the reference's own range, divided by its pictures: so much wider that of another clip may
// be.
constexpr std::int64_t kRoom = 8;

class Range {
 public:
  void Take(std::int64_t value) {
    least_ = count_ == 0 ? value : std::min(least_, value);
    most_ = count_ == 0 ? value : std::max(most_, value);
    ++count_;
  }
  std::int64_t count() const { return count_; }
  std::int64_t width() const { return most_ - least_; }

 private:
  std::int64_t count_ = 0;
  std::int64_t least_ = 0;
  std::int64_t most_ = 0;
};

// Pictures may begin ahead of the sound, and it may end ahead of them, in any way.
Range RangeOf(const Reference& reference, std::size_t video, const SoundLead& lead) {
  const std::uint64_t all = reference.tracks()[lead.track].sizes.count;
  Range range;
  std::int64_t samples = 0;
  std::int64_t pictures = 0;
  for (const ChunkPlace& chunk : reference.chunks()) {
    if (chunk.track == lead.track) samples += chunk.samples;
    if (static_cast<std::uint64_t>(samples) == all) break;
    if (chunk.track != video) continue;
    for (std::uint32_t i = 0; i < chunk.samples; ++i, ++pictures) {
      if (samples != 0) range.Take(samples * lead.sample - pictures * lead.picture);
    }
  }
  return range;
}

}  // namespace

std::vector<SoundLead> LearnLeads(const Reference& reference, std::size_t video) {
  const ReferenceTrack& pictures = reference.tracks()[video];
  const auto pictureStep = RegularStep(pictures.times);
  std::vector<SoundLead> leads;
  for (std::size_t i = 0; pictureStep && i < reference.tracks().size(); ++i) {
    const ReferenceTrack& sound = reference.tracks()[i];
    const auto step = RegularStep(sound.times);
    if (sound.kind != FourCc("soun") || !step) continue;
    SoundLead lead;
    lead.track = i;
    lead.sample = std::int64_t{*step} * pictures.timeScale;
    lead.picture = std::int64_t{*pictureStep} * sound.timeScale;
    const Range range = RangeOf(reference, video, lead);
    // Samples of no more than a moment are written in packets, which are about as long.
    const std::int64_t moment = std::int64_t{sound.timeScale} * pictures.timeScale / 16;
    if (range.count() < kEnoughPictures || range.width() > std::max(lead.sample * 2, moment))
      continue;
    lead.width = range.width() + kRoom * range.width() / range.count();
    leads.push_back(lead);
  }
  return leads;
}

void SoundClock::Seen::Take(std::int64_t lead) {
  most = least ? std::max(most, lead) : lead;
  least = least ? std::min(*least, lead) : lead;
}

bool SoundClock::Take(const Harvest& found, std::uint64_t pictures) {
  bool fits = true;
  const auto lead = [](const SoundLead& of, std::uint64_t samples, std::uint64_t shown) {
    return static_cast<std::int64_t>(samples) * of.sample -
           static_cast<std::int64_t>(shown) * of.picture;
  };
  for (std::size_t i = 0; i < leads_.size(); ++i) {
    const SoundLead& of = leads_[i];
    Seen& seen = seen_[i];
    const std::uint64_t samples = found.tracks[of.track].samples;
    // Where no more sound comes the recording may be at its end.
    if (samples == seen.samples) continue;
    if (seen.samples != 0 && pictures != 0) seen.Take(lead(of, seen.samples, pictures - 1));
    seen.Take(lead(of, samples, pictures));
    fits = fits && seen.most - *seen.least <= of.width;
    seen.samples = samples;
  }
  return fits;
}

}  // namespace clipchain::rescue
