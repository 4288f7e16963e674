#include "workflow/rescue/frame_headers.h"

#include <iterator>

#include "foundation/fourcc.h"

namespace clipchain::rescue {

namespace {

// Bit rates in kbit/s of layer III, for MPEG-1 and for the lower sampling
// rates.
constexpr std::uint32_t kMp3Rates[2][16] = {
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0}};
constexpr std::uint32_t kMp3Samplings[4] = {44100, 48000, 32000, 0};

constexpr std::uint32_t kAc3Rates[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                       192, 224, 256, 320, 384, 448, 512, 576, 640};

}  // namespace

std::uint32_t Mp3FrameSize(const unsigned char* bytes) {
  if (bytes[0] != 0xFF || (bytes[1] & 0xE0U) != 0xE0) return 0;
  // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5.
  const unsigned int version = bytes[1] >> 3 & 3U;
  // 1: layer III.
  const unsigned int layer = bytes[1] >> 1 & 3U;
  if (version == 1 || layer != 1) return 0;
  const bool low = version != 3;
  const std::uint32_t rate = kMp3Rates[low ? 1 : 0][bytes[2] >> 4];
  std::uint32_t sampling = kMp3Samplings[bytes[2] >> 2 & 3U];
  if (rate == 0 || sampling == 0 || (bytes[3] & 3U) == 2) return 0;
  if (low) sampling /= version == 2 ? 2 : 4;
  const std::uint32_t padding = bytes[2] >> 1 & 1U;
  return (low ? 72 : 144) * rate * 1000 / sampling + padding;
}

std::uint32_t Ac3FrameSize(const unsigned char* bytes) {
  if (bytes[0] != 0x0B || bytes[1] != 0x77) return 0;
  const unsigned int sampling = bytes[4] >> 6;
  const unsigned int code = bytes[4] & 63U;
  const unsigned int stream = bytes[5] >> 3;
  if (sampling == 3 || code >= 2 * std::size(kAc3Rates) || stream > 10) return 0;
  const std::uint32_t rate = kAc3Rates[code / 2];
  if (sampling == 0) return rate * 4;
  if (sampling == 2) return rate * 6;
  return 2 * (rate * 96000 / 44100 + (code & 1U));
}

FrameHeader FrameHeaderFor(unsigned int entryType, unsigned int objectType) {
  if (entryType == FourCc(".mp3")) return Mp3FrameSize;
  if (entryType == FourCc("mp4a") && (objectType == 0x69 || objectType == 0x6B))
    return Mp3FrameSize;
  if (entryType == FourCc("ac-3")) return Ac3FrameSize;
  return nullptr;
}

}  // namespace clipchain::rescue
