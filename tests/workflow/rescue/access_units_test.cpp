#include "workflow/rescue/access_units.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/decoder.h"
#include "support/temp_dir.h"
#include "workflow/rescue/media_window.h"
#include "workflow/rescue/model.h"
#include "workflow/rescue/picture_order.h"
#include "workflow/rescue/reference.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

using support::Bytes;
using support::ReadFile;
using support::TempDir;
using support::WriteFile;

const std::string kClip = support::SourcePath("examples/clips/clip3.mp4");

// Of a slice, at its length: the head of one of the same picture that begins at its second block,
// and seems to be much longer than the bytes behind it.
Bytes LikeAnotherSlice(const Bytes& clip, std::size_t at) {
  constexpr std::size_t kLength = 4;
  Bytes slice = {0x00, 0x10, 0x00, 0x00, clip[at + kLength]};
  // ISO/IEC 14496-10, clause 7.3.3: first_mb_in_slice, 0 as the bit 1, becomes 1 as the bits 010.
  unsigned int bits = 0x2;
  bits = bits << 7 | (clip[at + kLength + 1] & 0x7FU);
  for (std::size_t i = at + kLength + 2; i < at + kLength + 40; ++i) {
    bits = bits << 8 | clip[i];
    slice.push_back(static_cast<unsigned char>(bits >> 10));
    bits &= 0x3FF;
  }
  slice.resize(slice.size() + 200, 0x55);
  return slice;
}

// Sound may look so. What stands behind it decides.
TEST(AccessUnits, DoubtsASliceMoreThanPicturesHave) {
  NEED_DECODER();
  rescue::Reference clip;
  ASSERT_EQ(std::nullopt, clip.Load(kClip));
  rescue::Model model;
  ASSERT_EQ(std::nullopt, rescue::LearnModel(clip, model));
  ASSERT_EQ(1U, model.habits.slices);
  const auto& video = clip.tracks()[*model.video];
  const auto begin = static_cast<std::size_t>(video.chunks[0].position);
  const std::size_t size = video.sizes.At(0);
  Bytes broken = support::Slice(ReadFile(kClip), 0, begin + size);
  std::size_t slice = begin;
  while (slice + 4 + support::ReadU32(broken, slice) < begin + size)
    slice += 4 + support::ReadU32(broken, slice);
  const Bytes more = LikeAnotherSlice(broken, slice);
  broken.insert(broken.end(), more.begin(), more.end());
  const TempDir folder;
  WriteFile(folder / "broken.mp4", broken);
  FileBytes file(folder / "broken.mp4");
  rescue::MediaWindow window(file);
  for (const unsigned int slices : {1U, 0U}) {
    model.habits.slices = slices;
    rescue::AccessUnits units(window, broken.size(), model.syntax, model.habits);
    const auto found = units.At(begin, rescue::PictureOrder());
    ASSERT_TRUE(found);
    EXPECT_EQ(size, found->size);
    EXPECT_EQ(slices != 0, found->doubtful);
    EXPECT_EQ(slices == 0, found->cut);
  }
}

}  // namespace

}  // namespace clipchain
