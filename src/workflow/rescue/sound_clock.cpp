#include "workflow/rescue/sound_clock.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "foundation/fourcc.h"
#include "workflow/rescue/times.h"

namespace clipchain::rescue {

namespace {

// Fewer do not show how far the sound is ahead at most.
constexpr std::int64_t kEnoughPictures = 48;

// Of the reference's own range, divided by its pictures: so much wider that of another clip may
// be.
constexpr std::int64_t kRoom = 8;

// Of a sample, and of a picture: then no file has so many of them that their sum can't be told.
constexpr std::uint64_t kMostUnits = 1 << 22;

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

// Pictures may begin ahead of the sound, and it may end ahead of them, in any way. Notes how many
// pictures stand between two pieces of sound.
Range RangeOf(const Reference& reference, std::size_t video, SoundLead& lead) {
  const std::uint64_t all = reference.tracks()[lead.track].sizes.count;
  Range range;
  std::uint64_t samples = 0;
  std::uint64_t pictures = 0;
  std::uint64_t since = 0;
  for (const ChunkPlace& chunk : reference.chunks()) {
    if (chunk.track == lead.track) {
      samples += chunk.samples;
      lead.longestPause = std::max(lead.longestPause, since);
      since = 0;
    }
    if (samples == all) break;
    if (chunk.track != video) continue;
    since += chunk.samples;
    for (std::uint32_t i = 0; i < chunk.samples; ++i, ++pictures) {
      if (samples != 0) range.Take(lead.Of(samples, pictures));
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
    const std::uint64_t sample = std::uint64_t{*step} * pictures.timeScale;
    const std::uint64_t picture = std::uint64_t{*pictureStep} * sound.timeScale;
    const std::uint64_t unit = std::gcd(sample, picture);
    if (unit == 0 || std::max(sample, picture) / unit > kMostUnits) continue;
    lead.sample = static_cast<std::int64_t>(sample / unit);
    lead.picture = static_cast<std::int64_t>(picture / unit);
    const Range range = RangeOf(reference, video, lead);
    // Samples of no more than a moment are written in packets, which are about as long.
    const auto moment = static_cast<std::int64_t>(
        std::min(std::uint64_t{sound.timeScale} * pictures.timeScale / 16 / unit, kMostUnits));
    if (range.count() < kEnoughPictures || range.width() > std::max(lead.sample * 2, moment))
      continue;
    lead.width = range.width() + kRoom * range.width() / range.count();
    leads.push_back(lead);
  }
  return leads;
}

void SoundClock::Seen::Take(std::int64_t ahead) {
  most = least ? std::max(most, ahead) : ahead;
  least = least ? std::min(*least, ahead) : ahead;
}

std::optional<SoundClock::Apart> SoundClock::Take(const Harvest& found, std::uint64_t pictures) {
  // What goes apart a little shows some pictures later.
  constexpr std::uint64_t kLate = 16;
  // Another recording would have sound about as soon behind its first picture as the reference has:
  // in a pause that is longer nothing but its end may be of another one.
  constexpr std::uint64_t kMorePictures = 4;
  std::optional<Apart> apart;
  for (std::size_t i = 0; i < leads_.size(); ++i) {
    const SoundLead& of = leads_[i];
    Seen& seen = seen_[i];
    const std::uint64_t samples = found.tracks[of.track].samples;
    // Where no more sound comes the recording may be at its end.
    if (samples == seen.samples) continue;
    const std::int64_t lead = of.Of(samples, pictures);
    const std::int64_t least = pictures != 0 ? of.Of(seen.samples, pictures - 1) : lead;
    const bool any = seen.samples != 0;
    if (any) seen.Take(least);
    seen.Take(lead);
    if (any && seen.most - *seen.least > of.width) {
      const bool atOnce =
          std::max(std::abs(lead - seen.last), std::abs(least - seen.last)) > of.width;
      const std::uint64_t pause = pictures - seen.pictures;
      const std::uint64_t late = atOnce ? std::min(pause, of.longestPause + kMorePictures) : kLate;
      if (!apart) apart.emplace();
      apart->pictures = std::max(apart->pictures, late);
      apart->pause = std::max(apart->pause, pause);
    }
    seen.samples = samples;
    seen.pictures = pictures;
    seen.last = lead;
  }
  return apart;
}

}  // namespace clipchain::rescue
