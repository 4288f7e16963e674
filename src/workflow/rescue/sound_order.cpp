#include "workflow/rescue/sound_order.h"

#include <algorithm>

#include "workflow/rescue/times.h"

namespace clipchain::rescue {

namespace {

// Parts of a second: all usual rates divide it, and no file has samples for a number too large.
constexpr std::uint64_t kParts = 28'224'000;

}  // namespace

bool SoundOrder::Has(std::size_t track) const {
  return std::find(tracks_.begin(), tracks_.end(), track) != tracks_.end();
}

std::int64_t SoundOrder::Ahead(std::size_t one, std::size_t other,
                               const std::vector<std::uint64_t>& samples) const {
  return static_cast<std::int64_t>(samples[tracks_[one]] * steps_[one] -
                                   samples[tracks_[other]] * steps_[other]);
}

void SoundOrder::TakeEnd(std::size_t one, const std::vector<std::uint64_t>& samples) {
  for (std::size_t other = 0; other < tracks_.size(); ++other) {
    if (other == one) continue;
    const std::int64_t ahead = Ahead(one, other, samples);
    const auto found = std::find_if(leads_.begin(), leads_.end(), [&](const Lead& lead) {
      return lead.track == one && lead.other == other;
    });
    if (found == leads_.end()) {
      leads_.push_back({one, other, ahead, ahead});
      continue;
    }
    found->least = std::min(found->least, ahead);
    found->most = std::max(found->most, ahead);
  }
}

void SoundOrder::Learn(const Reference& reference, std::vector<std::size_t> alike) {
  // One alone needs no order.
  if (alike.size() < 2) return;
  tracks_ = std::move(alike);
  for (const std::size_t track : tracks_) {
    const ReferenceTrack& of = reference.tracks()[track];
    const std::uint64_t step = RegularStep(of.times).value_or(of.times.front().delta);
    steps_.push_back(step * kParts / of.timeScale);
  }
  std::vector<std::uint64_t> samples(reference.tracks().size());
  const auto& chunks = reference.chunks();
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::size_t track = chunks[i].track;
    samples[track] += chunks[i].samples;
    const auto found = std::find(tracks_.begin(), tracks_.end(), track);
    const bool goesOn = i + 1 < chunks.size() && chunks[i + 1].track == track;
    // The last piece of each may be shorter.
    if (found == tracks_.end() || goesOn || samples[track] == reference.tracks()[track].sizes.count)
      continue;
    TakeEnd(static_cast<std::size_t>(found - tracks_.begin()), samples);
  }
}

bool SoundOrder::MayEnd(std::size_t track, const std::vector<std::uint64_t>& samples) const {
  return std::all_of(leads_.begin(), leads_.end(), [&](const Lead& lead) {
    if (tracks_[lead.track] != track) return true;
    const std::int64_t ahead = Ahead(lead.track, lead.other, samples);
    return lead.least <= ahead && ahead <= lead.most;
  });
}

}  // namespace clipchain::rescue
