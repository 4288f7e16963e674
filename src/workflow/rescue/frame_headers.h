// Reads how long a frame of sound is off its first bytes, where they tell.
#pragma once

#include <cstddef>
#include <cstdint>

namespace clipchain::rescue {

// Bytes that a header reader looks at.
inline constexpr std::size_t kFrameHeader = 8;

// The bytes of the frame that begins so; 0 where none does.
using FrameHeader = std::uint32_t (*)(const unsigned char* bytes);

// ISO/IEC 11172-3, 2.4.1.3.
std::uint32_t Mp3FrameSize(const unsigned char* bytes);
// ETSI TS 102 366, 4.3.1.
std::uint32_t Ac3FrameSize(const unsigned char* bytes);

// By the type of the sample entry and the objectTypeIndication in it; null for
// other sound.
FrameHeader FrameHeaderFor(unsigned int entryType, unsigned int objectType);

}  // namespace clipchain::rescue
