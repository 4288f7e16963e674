// Keeps what is known of one track after its file was checked, when its boxes are gone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "adapt/times/timeline.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"

namespace clipchain {

struct TrackFacts {
  unsigned int id = 0;
  // Of the first sample entry; 0 without one.
  unsigned int entryType = 0;
  MediaKind kind = MediaKind::kOther;
  // Ticks a second; 0 without a media header.
  unsigned int timeScale = 0;
  std::uint64_t samples = 0;
};

TrackFacts FactsOf(MP4G::CTrackBox* track);

// When its samples are shown; nothing where that is not known.
std::optional<TrackTimes> TimesOf(MP4G::CTrackBox* track);

// "track 2 (mp4a)", for messages.
std::string TrackWords(const TrackFacts& facts);

}  // namespace clipchain
