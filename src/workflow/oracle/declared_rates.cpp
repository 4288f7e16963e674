#include "workflow/oracle/declared_rates.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/fourcc.h"

namespace clipchain::samples {

void DeclaredRates::Add(const Description& ours, const Description& clips) {
  for (std::size_t i = 0; i < ours.rates.size(); ++i) {
    const BitRates rates = clips.Like(ours, i);
    if (i == rates_.size()) rates_.push_back({rates});
    Rates& place = rates_[i];
    place.same = place.same && place.most == rates;
    place.most.buffer = std::max(place.most.buffer, rates.buffer);
    place.most.most = std::max(place.most.most, rates.most);
  }
  AddFrames(clips);
}

void DeclaredRates::AddFrames(const Description& clips) {
  for (std::size_t i = 0; i < clips.frames.size(); ++i) {
    const FrameStatistics& found = clips.frames[i];
    if (i == frames_.size()) frames_.push_back({found});
    FrameStatistics& all = frames_[i].all;
    frames_[i].same = frames_[i].same && all == found;
    // The rate of an "dec3" is never unknown.
    const bool isKnown = found.box == FourCc("dec3") || (all.most != 0 && found.most != 0);
    all.least = std::min(all.least, found.least);
    all.most = isKnown ? std::max(all.most, found.most) : 0;
    if (!frames_[i].same) std::fill(all.ofAll.begin(), all.ofAll.end(), '\0');
  }
}

std::optional<std::string> DeclaredRates::FaultOf(const Description& ours) const {
  for (std::size_t i = 0; i < rates_.size() && i < ours.rates.size(); ++i) {
    const BitRates& most = rates_[i].most;
    const BitRates& found = ours.rates[i];
    const bool right =
        rates_[i].same ? found == most : found.buffer == most.buffer && found.most == most.most;
    if (!right)
      return fmt::format(
          "declares a bit rate of {} at most and a buffer of {}; the clips declare {} and {}",
          found.most, found.buffer, most.most, most.buffer);
  }
  for (std::size_t i = 0; i < frames_.size() && i < ours.frames.size(); ++i) {
    const FrameStatistics& all = frames_[i].all;
    const FrameStatistics& found = ours.frames[i];
    if (found != all)
      return fmt::format("declares frames from {} to {} in \"{}\"; of the clips' it is {} to {}",
                         found.least, found.most, FourCcText(found.box), all.least, all.most);
  }
  return std::nullopt;
}

}  // namespace clipchain::samples
