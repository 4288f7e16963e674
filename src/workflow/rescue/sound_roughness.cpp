#include "workflow/rescue/sound_roughness.h"

#include <algorithm>
#include <cstdlib>

namespace clipchain::rescue {

namespace {

// As smooth as loud sound, but no sound stays on one side of silence.
bool IsText(const unsigned char* bytes, std::size_t count) {
  return std::all_of(bytes, bytes + count, [](unsigned char byte) {
    return (byte >= 0x20 && byte < 0x7F) || (byte >= 0x09 && byte <= 0x0D);
  });
}

bool IsZero(const unsigned char* bytes, std::size_t count) {
  return std::all_of(bytes, bytes + count, [](unsigned char byte) { return byte == 0; });
}

}  // namespace

void SoundRoughness::Take(const unsigned char* bytes) {
  most_ = std::max(most_, RoughnessOf(bytes, kFrames, size_));
}

// From sound that is like noise nothing can be told apart.
bool SoundRoughness::MayBe(const unsigned char* bytes, std::size_t frames) const {
  constexpr unsigned int kLeast = 5;
  constexpr unsigned int kNoise = 36;
  const unsigned int limit = most_ >= kNoise ? 0 : std::clamp(most_ * 2, kLeast, kNoise);
  return RoughnessOf(bytes, frames, size_) <= limit && !IsText(bytes, frames * size_);
}

bool SoundRoughness::MayBeAll(MediaWindow& window, std::uint64_t begin, std::uint64_t frames,
                              Zeros zeros) const {
  const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(kFrames, frames));
  for (std::uint64_t at = 0; at < frames; at += kFrames) {
    // The last part reaches back, to have as many frames as the others.
    const std::uint64_t from = std::min(at, frames - part);
    const unsigned char* bytes = window.At(begin + from * size_, part * size_);
    if (bytes == nullptr || !MayBe(bytes, part)) return false;
    if (zeros == Zeros::kNoSound && IsZero(bytes, part * size_)) return false;
  }
  return true;
}

unsigned int RoughnessOf(const unsigned char* bytes, std::size_t frames, std::uint32_t size) {
  unsigned int least = 128;
  for (std::uint32_t lane = 0; lane < size && frames > 1; ++lane) {
    unsigned int sum = 0;
    for (std::size_t i = 1; i < frames; ++i) {
      const auto step =
          static_cast<signed char>(bytes[i * size + lane] - bytes[(i - 1) * size + lane]);
      sum += static_cast<unsigned int>(std::abs(int{step}));
    }
    // The low bytes of samples are like noise in any sound: the smoothest lane tells.
    least = std::min(least, sum / static_cast<unsigned int>(frames - 1));
  }
  return least;
}

}  // namespace clipchain::rescue
