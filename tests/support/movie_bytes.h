// The bytes of whole movies, tracks and sample tables for tests, each table from its numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace support {

// A run of samples with a duration or offset; an edit's duration and media time.
struct Run {
  std::uint32_t count;
  std::uint32_t value;
};
struct ChunkGroup {
  std::uint32_t firstChunk;
  std::uint32_t samplesPerChunk;
  std::uint32_t description = 1;
};
struct Edit {
  std::uint64_t segmentDuration;
  std::int64_t mediaTime;
};

Bytes Stts(const std::vector<Run>& runs);
Bytes Ctts(const std::vector<Run>& runs);
Bytes Stsc(const std::vector<ChunkGroup>& groups);
Bytes Stsz(const std::vector<std::uint32_t>& sizes);
Bytes UniformStsz(std::uint32_t size, std::uint32_t count);
Bytes Stz2(const std::vector<std::uint16_t>& sizes);
Bytes Stco(const std::vector<std::uint32_t>& offsets);
Bytes Co64(const std::vector<std::uint64_t>& offsets);
Bytes Stss(const std::vector<std::uint32_t>& numbers);

// A track with all headers, in the wide form, and a sample description of one entry.
struct TrackOf {
  std::uint32_t id = 1;
  std::uint64_t duration = 0;  // in the movie's time scale
  std::optional<std::vector<Edit>> edits{};
  std::uint32_t timeScale = 1000;
  std::uint64_t mediaDuration = 0;
  std::string handler = "vide";    // "soun" gives "smhd", any other "nmhd"
  std::string entryType = "avc1";  // for "vide" and "soun" with the fixed fields of that kind
  Bytes tables{};                  // what stands behind "stsd"
};

Bytes Track(const TrackOf& track);
Bytes Movie(std::uint32_t timeScale, std::uint64_t duration, const std::vector<TrackOf>& tracks);

}  // namespace support
