// Reads single samples of a small track, such as timecodes.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_tables.h"
#include "workflow/clips/clip_file.h"

namespace clipchain {

// The samples of one track, found through its tables.
class TrackSamples {
 public:
  // Nothing where a table is missing or contradicts itself.
  static std::optional<TrackSamples> Of(const RawBox& track);

  std::uint32_t Count() const { return sizes_.count; }
  // The bytes of that sample, of a long one the first `most`. Empty where there are none.
  std::vector<unsigned char> Read(const ClipFile& clip, std::uint32_t index,
                                  std::uint32_t most) const;

 private:
  SampleSizes sizes_;
  ChunkRuns runs_;
  std::vector<std::uint64_t> chunks_;
};

}  // namespace clipchain
