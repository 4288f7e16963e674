// Clips that are damaged in every way: cut short, a bit turned over, a byte set to any value.
// Neither parsing nor merging nor analysis leaves memory, takes much of it, or hangs, and a merge
// that says yes gives a file that parses.
//
// Of all the damage every so-many-th piece is done, a prime number so that every place gets its
// turn; with DAMAGE_STRIDE=1 in the environment all of it.
#include <gtest/gtest.h>

#include <cstdlib>

#include "clip/vireo_mp4.h"
#include "foundation/file_buffer.h"
#include "merge/m4lm.h"
#include "reader/mp4_file.h"
#include "support/allocation_meter.h"
#include "support/clip_shapes.h"
#include "support/memory_disk.h"
#include "support/result_matchers.h"

namespace {

using support::AllocationMeter;
using support::Bytes;
using support::ClipShape;
using support::MemoryDisk;

constexpr unsigned int kUsualStride = 499;
constexpr std::size_t kMostMemory = 32u << 20;
constexpr char kOutput[] = "output.mp4";

unsigned int Stride() {
  const char* given = std::getenv("DAMAGE_STRIDE");
  const int stride = given != nullptr ? std::atoi(given) : 0;
  return stride > 0 ? static_cast<unsigned int>(stride) : kUsualStride;
}

unsigned int Size(const Bytes& bytes) { return static_cast<unsigned int>(bytes.size()); }

bool Parses(const Bytes& file) {
  QUIRVA::CFileBuffer source;
  MP4G::CMp4File parsed;
  return source.SetData(file.data(), Size(file)) == S_OK && parsed.SetReader(&source) == S_OK;
}

// The codes of the two inputs and of the end, 0 if all went well.
HRESULT Merge(const Bytes& first, const Bytes& second) {
  void* handle = nullptr;
  EXPECT_OK(m4lm_createHandle(&handle));
  EXPECT_OK(m4lm_setOutputPath(handle, kOutput));
  HRESULT result = m4lm_inputMp4Data(handle, first.data(), Size(first));
  if (result == S_OK) result = m4lm_inputMp4Data(handle, second.data(), Size(second));
  if (result == S_OK) result = m4lm_finalize(handle);
  EXPECT_OK(m4lm_deleteHandle(handle));
  return result;
}

void ExpectMergeIsSound(const Bytes& first, const Bytes& second) {
  MemoryDisk::Get().Clear();
  if (Merge(first, second) != S_OK) return;
  const Bytes* output = MemoryDisk::Get().Find(kOutput);
  ASSERT_NE(nullptr, output);
  EXPECT_TRUE(Parses(*output));
}

void Analyse(const Bytes& clip) {
  MemoryDisk::Get().Clear();
  MemoryDisk::Get().Put("clip.mp4", clip);
  MP4G::CVireoMp4 analysed(0);
  if (analysed.ParseFile(L"clip.mp4") != S_OK) return;
  MP4G::CVireoMp4 next(0);
  static_cast<void>(next.ParseFile(L"clip.mp4"));
  static_cast<void>(analysed.CheckTimecodeContinuity(&next));
}

class Damage : public testing::TestWithParam<ClipShape> {
 protected:
  // Gives every so-many-th of `count` pieces of damage its number.
  template <class Try>
  void ForEach(std::size_t count, Try tryOne) {
    std::size_t tried = 0;
    for (std::size_t number = count % Stride(); number < count; number += Stride()) {
      SCOPED_TRACE(testing::Message() << "damage number " << number);
      ExpectStandsIt(tryOne(number));
      ++tried;
      if (HasFatalFailure() || HasNonfatalFailure()) return;
    }
    EXPECT_GT(tried, 0u);
  }

  void ExpectStandsIt(const Bytes& damaged) {
    const AllocationMeter meter;
    static_cast<void>(Parses(damaged));
    ExpectMergeIsSound(damaged, sound_);
    ExpectMergeIsSound(sound_, damaged);
    Analyse(damaged);
    EXPECT_LT(meter.Peak(), kMostMemory);
  }

  const Bytes sound_ = GetParam().bytes;
};

TEST_P(Damage, TheClipItselfIsSmallAndSound) {
  EXPECT_LE(sound_.size(), 32u << 10);
  MemoryDisk::Get().Clear();
  ASSERT_OK(Merge(sound_, sound_));
  EXPECT_TRUE(Parses(*MemoryDisk::Get().Find(kOutput)));
}

TEST_P(Damage, CutShortAnywhere) {
  ForEach(sound_.size(), [this](std::size_t length) { return support::Slice(sound_, 0, length); });
}

TEST_P(Damage, OneBitTurnedOver) {
  ForEach(8 * sound_.size(), [this](std::size_t bit) {
    Bytes damaged = sound_;
    damaged[bit / 8] = static_cast<unsigned char>(damaged[bit / 8] ^ 1u << bit % 8);
    return damaged;
  });
}

// All bytes but those of the media, which nothing looks at.
TEST_P(Damage, OneByteOfAnyOtherValue) {
  const std::size_t media = support::FindBox(sound_, "mdat");
  ASSERT_NE(support::kNotFound, media);
  const std::size_t declared = support::ReadU32(sound_, media);
  const bool large = declared == 1;
  const std::size_t whole = large           ? support::ReadU64(sound_, media + 8)
                            : declared == 0 ? sound_.size() - media
                                            : declared;
  const std::size_t head = media + (large ? 16 : 8);
  const std::size_t skipped = media + whole - head;
  ForEach(255 * (sound_.size() - skipped), [&](std::size_t number) {
    const std::size_t place = number / 255;
    Bytes damaged = sound_;
    unsigned char& byte = damaged[place < head ? place : place + skipped];
    byte = static_cast<unsigned char>(byte + 1 + number % 255);
    return damaged;
  });
}

INSTANTIATE_TEST_SUITE_P(OfTwelveShapes, Damage, testing::ValuesIn(support::ClipShapes()),
                         [](const auto& shape) { return shape.param.name; });

}  // namespace
