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
  // Where in the file the first byte of a sample is, and the end of the last.
  std::uint64_t mediaBegin = static_cast<std::uint64_t>(-1);
  std::uint64_t mediaEnd = 0;
  std::uint32_t commonSize = 0;  // of "stsz"
  bool wideMediaHeader = false;  // "mdhd" counts in 64 bits
  bool chunksFromFirst = false;  // if there are chunks, the first one has an entry in "stsc"
};

struct OracleMovie {
  std::vector<std::string> topLevel;  // types in file order
  std::uint32_t timeScale;
  std::uint64_t duration;
  std::vector<OracleTrack> tracks;
};

// Throws a std::exception where the file contradicts itself or a sample lies outside of it: other
// bytes than a movie's are fine.
OracleMovie ReadMovie(const Bytes& file);

}  // namespace support
