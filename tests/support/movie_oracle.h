// An independent reading of an MP4 file, to check results against: it shares no code with the
// engine.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace support {

struct OracleSample {
  Bytes bytes;
  std::uint32_t delta;
  std::uint32_t offset;  // composition offset, 0 without "ctts"
  bool sync;

  bool operator==(const OracleSample& other) const = default;
};

struct OracleTrack {
  std::uint32_t id;
  std::string entryType;
  std::uint64_t trackDuration;
  std::uint64_t mediaDuration;
  std::vector<std::uint64_t> chunkOffsets;
  bool co64;
  std::vector<OracleSample> samples;
};

struct OracleMovie {
  std::vector<std::string> topLevel;  // types in file order
  std::uint32_t timeScale;
  std::uint64_t duration;
  std::vector<OracleTrack> tracks;
};

// Throws std::runtime_error where the file contradicts itself or a sample lies outside of it.
OracleMovie ReadMovie(const Bytes& file);

}  // namespace support
