// The bytes of sample tables for tests, each from its numbers.
#pragma once

#include <cstdint>
#include <vector>

#include "support/bytes.h"

namespace support {

// Samples that share a duration or offset.
struct SampleRun {
  std::uint32_t count;
  std::uint32_t value;
};
struct ChunkGroup {
  std::uint32_t firstChunk;
  std::uint32_t samplesPerChunk;
  std::uint32_t description = 1;
};
Bytes Stts(const std::vector<SampleRun>& runs);
Bytes Ctts(const std::vector<SampleRun>& runs);
Bytes Stsc(const std::vector<ChunkGroup>& groups);
Bytes Stsz(const std::vector<std::uint32_t>& sizes);
Bytes UniformStsz(std::uint32_t size, std::uint32_t count);
Bytes Stz2(const std::vector<std::uint16_t>& sizes);
Bytes Stco(const std::vector<std::uint32_t>& offsets);
Bytes Co64(const std::vector<std::uint64_t>& offsets);
Bytes Stss(const std::vector<std::uint32_t>& numbers);

}  // namespace support
