#include "workflow/rescue/jpeg_pictures.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/temp_dir.h"
#include "workflow/rescue/jpeg_count.h"

namespace clipchain::rescue {

namespace {

using support::Bytes;
using support::Join;

Bytes Segment(unsigned char code, const Bytes& body) {
  const auto size = static_cast<unsigned char>(body.size() + 2);
  return Join({{0xFF, code, 0, size}, body});
}

// One component, 8 lines; each block is two bits of zero: no difference, no coefficients.
Bytes Picture(unsigned char width, const Bytes& scan) {
  const Bytes frame = {8, 0, 8, 0, width, 1, 1, 0x11, 0};
  const Bytes oneCode = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  return Join({{0xFF, 0xD8},
               Segment(0xC4, Join({{0x00}, oneCode, {0x10}, oneCode})),
               Segment(0xC0, frame),
               Segment(0xDA, {1, 1, 0x00, 0, 63, 0}),
               scan,
               {0xFF, 0xD9}});
}

TEST(JpegCount, WantsAsManyBlocksAsThePictureTakes) {
  EXPECT_TRUE(HoldsAllBlocks(Picture(24, {0x03})));
  EXPECT_TRUE(HoldsAllBlocks(Picture(32, {0x00})));
  EXPECT_FALSE(HoldsAllBlocks(Picture(24, {0x00}))) << "the last bits are ones";
  EXPECT_FALSE(HoldsAllBlocks(Picture(40, {0x03}))) << "a block is missing";
  EXPECT_FALSE(HoldsAllBlocks(Picture(24, {0x03, 0x00}))) << "something is left";
  EXPECT_FALSE(HoldsAllBlocks({}));
  const Bytes whole = Picture(24, {0x03});
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(HoldsAllBlocks(std::span(whole).first(size))) << size;
}

class JpegPictureTest : public testing::Test {
 protected:
  std::optional<JpegPicture> At(const Bytes& bytes, std::uint64_t most = 1000) {
    support::WriteFile(folder_ / "file", bytes);
    FileBytes file(folder_ / "file");
    MediaWindow window(file);
    return JpegAt(window, 0, bytes.size(), most);
  }

  support::TempDir folder_;
};

TEST_F(JpegPictureTest, EndsWithItsMarker) {
  const Bytes picture = Picture(24, {0x03});
  const auto found = At(Join({picture, {1, 2, 3}}));
  ASSERT_TRUE(found);
  EXPECT_EQ(picture.size(), found->size);
  EXPECT_EQ(0x00080018U, found->lines);
  EXPECT_FALSE(found->cut);
  EXPECT_FALSE(At(Join({{0}, picture})));
  ASSERT_TRUE(At(picture, picture.size() - 3));
  EXPECT_TRUE(At(picture, picture.size() - 3)->damaged) << "larger than any";
}

TEST_F(JpegPictureTest, IsCutOrDamagedOnceItsScanHasBegun) {
  Bytes picture = Picture(24, {0x03});
  picture.pop_back();
  ASSERT_TRUE(At(picture));
  EXPECT_TRUE(At(picture)->cut);
  picture.resize(20);
  EXPECT_FALSE(At(picture)) << "its head alone";
  const auto found = At(Picture(24, {0x03, 0xFF, 0xD8, 0x03}));
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->damaged);
}

}  // namespace

}  // namespace clipchain::rescue
