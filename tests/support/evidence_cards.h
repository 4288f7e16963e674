// Cards full of clips as cameras of all customs leave them, with what was really recorded in one
// go: made by chance, the same from the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "workflow/evidence/clip_traits.h"

namespace support {

struct MadeClip {
  clipchain::ClipTraits traits;
  std::size_t recording = 0;
  std::size_t number = 0;  // in its recording, as it was recorded
};

struct MadeRecording {
  std::size_t clips = 0;   // that are still on the card
  bool isWhole = true;     // none of its clips was lost
  bool isEvident = false;  // what is left says enough for a likely proposal of all of it
};

struct MadeCard {
  std::vector<MadeClip> clips;  // in no order
  std::vector<MadeRecording> recordings;
  std::string story;  // for messages: the customs of its cameras
};

MadeCard MakeCard(std::uint64_t seed);

}  // namespace support
