// What every fuzz target stands on. A target states properties of the engine in RunInput;
// target.cpp puts the limits around it.
#pragma once

#include <cstddef>

namespace fuzz {

// Processor time that one input may take.
inline constexpr unsigned int kSeconds = 1;
// The longest input that the limits are meant for.
inline constexpr std::size_t kLongestInput = 1u << 20;

// Ends the program with the promise that does not hold.
void Require(bool holds, const char* promise);

// Defined by each target.
void RunInput(const unsigned char* data, std::size_t size);

}  // namespace fuzz
