#include "workflow/rescue/sound_roughness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace clipchain::rescue {

namespace {

// Of 16 bits, most significant byte first.
std::vector<unsigned char> Tone(double loudness) {
  std::vector<unsigned char> bytes;
  for (std::size_t i = 0; i < SoundRoughness::kFrames; ++i) {
    const int value = static_cast<int>(loudness * std::sin(static_cast<double>(i)));
    bytes.push_back(static_cast<unsigned char>(value >> 8));
    bytes.push_back(static_cast<unsigned char>(value));
  }
  return bytes;
}

std::vector<unsigned char> Noise() {
  std::vector<unsigned char> bytes;
  unsigned int seed = 1;
  while (bytes.size() < 2 * SoundRoughness::kFrames) {
    seed = seed * 1664525 + 1013904223;
    bytes.push_back(static_cast<unsigned char>(seed >> 24));
  }
  return bytes;
}

bool MayBe(const SoundRoughness& roughness, const std::vector<unsigned char>& bytes) {
  return roughness.MayBe(bytes.data(), SoundRoughness::kFrames);
}

}  // namespace

// Behind a cut another clip's sound may stand, and a clip may be louder than the intact one.
TEST(SoundRoughness, IsThatOfTheClipItself) {
  SoundRoughness roughness(2);
  roughness.Take(Tone(200).data());
  EXPECT_TRUE(MayBe(roughness, Tone(1000)));
  EXPECT_FALSE(MayBe(roughness, Tone(4000)));
  roughness.Take(Tone(4000).data());
  EXPECT_TRUE(MayBe(roughness, Tone(4000)));
  EXPECT_FALSE(MayBe(roughness, Noise()));
}

TEST(SoundRoughness, TellsNothingBesideNoise) {
  SoundRoughness roughness(2);
  roughness.Take(Noise().data());
  EXPECT_FALSE(MayBe(roughness, Noise()));
  EXPECT_FALSE(MayBe(roughness, Tone(4000)));
}

TEST(SoundRoughness, TellsTextFromSound) {
  SoundRoughness roughness(2);
  roughness.Take(Tone(4000).data());
  EXPECT_FALSE(MayBe(roughness, std::vector<unsigned char>(2 * SoundRoughness::kFrames, 'a')));
}

}  // namespace clipchain::rescue
