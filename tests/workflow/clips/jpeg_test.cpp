#include "workflow/clips/jpeg.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

using clipchain::FindJpeg;
using clipchain::JpegExtent;
using support::Bytes;
using support::Hex;

namespace {

constexpr const char* kExif = "FFE1 0008 457869660000";
constexpr const char* kFrame = "FFC0 000B 08 0010 0020 01 011100";  // 32 by 16
constexpr const char* kScan = "FFDA 0008 01 0100 003F00 1234 FF00 56 FFD0 78";

std::optional<JpegExtent> Find(const std::string& hex) {
  const Bytes bytes = Hex(hex);
  return FindJpeg(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string Picture() { return std::string("FFD8") + kExif + kFrame + kScan + "FFD9"; }

}  // namespace

TEST(FindJpeg, GivesSizeAndLength) {
  const auto found = Find(Picture());
  ASSERT_TRUE(found);
  EXPECT_EQ(Hex(Picture()).size(), found->length);
  EXPECT_EQ(32u, found->width);
  EXPECT_EQ(16u, found->height);
}

TEST(FindJpeg, EndsWithThePicture) {
  const auto found = Find(Picture() + "FFD9 3C736372697074");
  ASSERT_TRUE(found);
  EXPECT_EQ(Hex(Picture()).size(), found->length);
}

TEST(FindJpeg, TakesFillBytesSeveralScansAndEveryKindOfFrame) {
  EXPECT_TRUE(Find(std::string("FFD8 FFFFFF") + kFrame + kScan + "FFFFD9"));
  EXPECT_TRUE(Find(std::string("FFD8") + kFrame + kScan + kScan + "FFD9"));
  for (const char* code : {"C1", "C2", "C3", "C5", "CF"}) {
    SCOPED_TRACE(code);
    EXPECT_TRUE(
        Find(std::string("FFD8 FF") + code + "000B 08 0010 0020 01 011100" + kScan + "FFD9"));
  }
}

TEST(FindJpeg, RefusesWhatIsCutShortAnywhere) {
  const Bytes whole = Hex(Picture());
  for (unsigned int count = 0; count < whole.size(); ++count) {
    SCOPED_TRACE(count);
    EXPECT_FALSE(FindJpeg(whole.data(), count));
  }
  EXPECT_TRUE(FindJpeg(whole.data(), static_cast<unsigned int>(whole.size())));
}

TEST(FindJpeg, RefusesPicturesWithoutFrameScanOrSize) {
  EXPECT_FALSE(Find(std::string("FFD8") + kExif + "FFD9"));
  EXPECT_FALSE(Find(std::string("FFD8") + kFrame + "FFD9"));
  EXPECT_FALSE(Find(std::string("FFD8") + kScan + "FFD9"));
  EXPECT_FALSE(Find(std::string("FFD8 FFC0 000B 08 0000 0020 01 011100") + kScan + "FFD9"));
  EXPECT_FALSE(Find(std::string("FFD8 FFC0 000B 08 0010 0000 01 011100") + kScan + "FFD9"));
  // Huffman tables, extensions and arithmetic coding are no frames.
  for (const char* code : {"C4", "C8", "CC"}) {
    SCOPED_TRACE(code);
    EXPECT_FALSE(
        Find(std::string("FFD8 FF") + code + "000B 08 0010 0020 01 011100" + kScan + "FFD9"));
  }
}

TEST(FindJpeg, RefusesMarkersThatHaveNoPlaceThere) {
  for (const char* code : {"FF00", "FF01", "FFD0", "FFD7", "FFD8", "1234"}) {
    SCOPED_TRACE(code);
    EXPECT_FALSE(Find(std::string("FFD8") + kFrame + code + "0002" + kScan + "FFD9"));
  }
  EXPECT_TRUE(Find(std::string("FFD8") + kFrame + "FFFE0002" + kScan + "FFD9"));
  EXPECT_FALSE(Find(std::string("FFD8") + kFrame + "FFFE0001" + kScan + "FFD9"));
  EXPECT_FALSE(Find("89504E470D0A1A0A"));
}
