// Tells the sound of a clip from bytes of other kinds, and from much louder sound, by how rough it
// is.
#pragma once

#include <cstddef>
#include <cstdint>

#include "workflow/rescue/media_window.h"

namespace clipchain::rescue {

// What kFrames of nothing but zeros are.
enum class Zeros { kSilence, kNoSound };

class SoundRoughness {
 public:
  // That many at the beginning of a piece are looked at.
  static constexpr std::size_t kFrames = 64;

  // Of frames of so many bytes each.
  explicit SoundRoughness(std::uint32_t size) : size_(size) {}

  // Learns from kFrames of the intact clip, or of the broken one itself, which may be louder.
  void Take(const unsigned char* bytes);
  // Whether so many frames may be more of that sound.
  bool MayBe(const unsigned char* bytes, std::size_t frames) const;
  // The same of as many frames as there may be, which stand there in the file.
  bool MayBeAll(MediaWindow& window, std::uint64_t begin, std::uint64_t frames, Zeros zeros) const;

 private:
  std::uint32_t size_;
  // Of the roughest piece.
  unsigned int most_ = 0;
};

// How far one frame is from the next, in steps of the byte that changes least from frame to frame:
// about 64 for noise and for compressed bytes, little for sound.
unsigned int RoughnessOf(const unsigned char* bytes, std::size_t frames, std::uint32_t size);

}  // namespace clipchain::rescue
