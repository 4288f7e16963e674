// Clips made of numbers, for measuring what a merge does with tables.
#pragma once

#include <cstdint>
#include <vector>

namespace bench {

// One whole file in memory: a video track of that many samples of one byte each, with an entry of
// its own for every sample in the tables of times, offsets and sizes, ten samples to a chunk and a
// sync sample every thirty.
std::vector<unsigned char> SyntheticClip(std::uint32_t samples);

// The same as clip `number`, counted from 1, of a recording of `length` clips, with the box in
// which a camera says so.
std::vector<unsigned char> ChainedClip(std::uint32_t samples, std::uint32_t number,
                                       std::uint32_t length);

}  // namespace bench
