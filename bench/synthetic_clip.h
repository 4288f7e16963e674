// Clips made of numbers, for measuring what a merge does with tables.
#pragma once

#include <cstdint>
#include <vector>

namespace bench {

// One whole file in memory: a video track of that many samples of one byte each, with an entry of
// its own for every sample in the tables of times, offsets and sizes, ten samples to a chunk and a
// sync sample every thirty.
std::vector<unsigned char> SyntheticClip(std::uint32_t samples);

}  // namespace bench
