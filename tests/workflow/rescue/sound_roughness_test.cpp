#include "workflow/rescue/sound_roughness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/bytes.h"
#include "support/temp_dir.h"

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

// Where pictures were not recorded nothing but sound stands between two others, and no part of it
// is what a disk had no bytes of.
TEST(SoundRoughness, LooksAtEveryPart) {
  const support::TempDir folder;
  SoundRoughness roughness(2);
  roughness.Take(Tone(4000).data());
  const std::vector<unsigned char> zeros(2 * SoundRoughness::kFrames);
  for (const auto& part : {Tone(4000), zeros, Noise()}) {
    support::Bytes bytes(3);
    for (const auto& piece : {Tone(4000), Tone(4000), part, Tone(100)})
      bytes.insert(bytes.end(), piece.begin(), piece.end());
    support::WriteFile(folder / "clip", bytes);
    FileBytes file((folder / "clip").string());
    MediaWindow window(file);
    constexpr std::uint64_t kAll = 4 * SoundRoughness::kFrames;
    EXPECT_EQ(part != Noise(), roughness.MayBeAll(window, 3, kAll, Zeros::kSilence));
    EXPECT_EQ(part == Tone(4000), roughness.MayBeAll(window, 3, kAll - 5, Zeros::kNoSound));
    EXPECT_FALSE(roughness.MayBeAll(window, 4, kAll, Zeros::kSilence)) << "behind the end";
  }
}

}  // namespace clipchain::rescue
