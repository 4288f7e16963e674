// Reads the fields of a track's and a movie's headers off their boxes and changes them in place
// (ISO/IEC 14496-12, 8.2.2, 8.3.2, 8.4.2, 8.4.3, 8.5.2).
//
// A function that reads gives nothing where the box is no such header: an unknown version or too
// few bytes. Fields that are not named here keep their bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// What a header says that does not know its duration: all bits set, in either version.
inline constexpr std::uint64_t kUnknownDuration = ~std::uint64_t{0};

// "mvhd" and "mdhd".
struct TimeHeader {
  std::uint32_t scale = 0;
  std::uint64_t duration = 0;
  bool operator==(const TimeHeader&) const = default;
};

// "tkhd".
struct TrackHeader {
  std::uint32_t id = 0;
  std::uint64_t duration = 0;
  bool operator==(const TrackHeader&) const = default;
};

std::optional<TimeHeader> ReadTimeHeader(const RawBox& mvhdOrMdhd);
std::optional<TrackHeader> ReadTrackHeader(const RawBox& tkhd);

// The box becomes version 1 where the duration needs it, and stays what it is otherwise. False: it
// is no such header, and nothing is changed.
[[nodiscard]] bool WriteTimeHeader(RawBox& mvhdOrMdhd, const TimeHeader& header);
[[nodiscard]] bool WriteTrackHeader(RawBox& tkhd, const TrackHeader& header);

// Makes one of these headers version 1, with the same times. False: it is already, or none.
bool WidenHeader(RawBox& header);

// What kind of media "hdlr" declares ("vide", "soun", …); 0 where it is too short to say.
unsigned int HandlerKind(const RawBox& hdlr);
// The type of the first entry of "stsd"; 0 without one.
unsigned int FirstSampleEntryType(const RawBox& stsd);
// How many entries "stsd" has by its count, which nothing bounds; 0 where it is too short to say.
std::uint32_t SampleEntryCount(const RawBox& stsd);
// The entries of "stsd"; nothing if they are not as many as it says, or are no boxes.
std::optional<std::vector<RawBox>> SampleEntriesOf(const RawBox& stsd);

// The same of a track; 0 where a box on the way is missing.
unsigned int TrackKind(const RawBox& trak);
unsigned int TrackSampleEntryType(const RawBox& trak);
// The "stbl" of a track; null without one.
RawBox* SampleTable(RawBox& trak);
const RawBox* SampleTable(const RawBox& trak);

}  // namespace clipchain
