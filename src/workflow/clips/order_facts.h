// Reads what a clip says about its place in a recording.
#pragma once

#include <cstdint>
#include <optional>

#include "clip/vireo_mp4.h"
#include "foundation/guid.h"
#include "workflow/clips/clip_file.h"

namespace clipchain {

// The first timecode of a clip and how long it runs.
struct ClipTimecode {
  // The four bytes of the sample; the sign left out.
  std::uint32_t first;
  // Of the whole track.
  std::uint64_t frames;
  unsigned int framesPerSecond;
};

struct OrderFacts {
  std::optional<FileIdentity> file;
  // Zero without identifiers.
  _GUID id{};
  // Zero: nothing stands in front.
  _GUID previous{};
  _GUID next{};
  std::optional<MP4G::_tagSequenceTimedate> date;
  std::optional<ClipTimecode> timecode;
};

// Reads the first timecode from the media; nothing else of it.
OrderFacts OrderFactsOf(const ClipFile& clip);

}  // namespace clipchain
