#include "box/top_level_boxes.h"

#include <gtest/gtest.h>

#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using support::Box;
using support::Bytes;
using support::FixAndWrite;
using support::Join;
using support::ParseBox;
using support::SizeOf;
using support::Text;
using support::U32;
using support::Zeros;

using Brands = std::vector<unsigned int>;

TEST(FileTypeBox, ReadsItsBrands) {
  MP4G::CFileTypeBox box;
  const Bytes bytes = Box("ftyp", {Text("mp42"), U32(7), Text("isom"), Text("avc1")});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(FourCc("mp42"), box.record->majorBrand);
  EXPECT_EQ(7u, box.record->minorVersion);
  EXPECT_EQ((Brands{FourCc("isom"), FourCc("avc1")}), box.compatibleBrands);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(FileTypeBox, MayHaveNoBrands) {
  MP4G::CFileTypeBox box;
  ASSERT_OK(ParseBox(box, Box("ftyp", {Text("mp42"), U32(7)})));
  EXPECT_TRUE(box.compatibleBrands.empty());
  EXPECT_EQ(16, SizeOf(box));
}

TEST(FileTypeBox, KeepsTheWholeBrandsOfATableThatIsNone) {
  for (unsigned int odd = 1; odd < 4; ++odd) {
    MP4G::CFileTypeBox box;
    unsigned int left = 0;
    EXPECT_RESULT(
        E_BAD_DATA,
        ParseBox(box, Box("ftyp", {Text("mp42"), U32(7), Text("isom"), Text("avc1"), Zeros(odd)}),
                 &left));
    EXPECT_EQ((Brands{FourCc("isom"), FourCc("avc1")}), box.compatibleBrands);
    EXPECT_EQ(odd, left);
    MP4G::CFileTypeBox none;
    EXPECT_RESULT(E_BAD_DATA, ParseBox(none, Box("ftyp", {Text("mp42"), U32(7), Zeros(odd)})));
  }
}

TEST(FileTypeBox, NeedsItsRecordAndAllOfItsBrands) {
  MP4G::CFileTypeBox shortRecord;
  EXPECT_RESULT(S_FALSE, ParseBox(shortRecord, Join({U32(15), Text("ftyp"), Zeros(7)})));
  MP4G::CFileTypeBox overlong;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(overlong, Join({U32(15), Text("ftyp"), Zeros(8)})));
  MP4G::CFileTypeBox shortBrands;
  EXPECT_RESULT(S_FALSE, ParseBox(shortBrands, Join({U32(24), Text("ftyp"), Zeros(15)})));
  EXPECT_TRUE(shortBrands.compatibleBrands.empty());
}

TEST(FileTypeBox, NeedsASizeOf32Bits) {
  const auto read = [](unsigned long long size) {
    MP4G::CFileTypeBox box;
    const Bytes bytes = Join({U32(1), Text("ftyp"), support::U64(size), Zeros(8)});
    const unsigned char* in = bytes.data();
    unsigned int rest = static_cast<unsigned int>(bytes.size());
    return box.SetDataImpl(in, rest);
  };
  EXPECT_RESULT(E_PENDING, read(0x100000000));
  EXPECT_RESULT(E_BAD_DATA, read(23));
  EXPECT_OK(read(24));
}

TEST(FileTypeBox, ResetForgetsEverything) {
  MP4G::CFileTypeBox box;
  ASSERT_OK(ParseBox(box, Box("ftyp", {Text("mp42"), U32(7), Text("isom")})));
  box.Reset();
  EXPECT_EQ(0u, box.record->majorBrand);
  EXPECT_EQ(0u, box.record->minorVersion);
  EXPECT_TRUE(box.compatibleBrands.empty());
}

TEST(MediaDataBox, ReadsItsHeaderAlone) {
  MP4G::CMediaDataBox box;
  ASSERT_OK(ParseBox(box, Box("mdat", {Text("media")})));
  EXPECT_EQ(5u, box.restSize);
  EXPECT_EQ(8u, box.GetBoxBaseSize());
}

TEST(MediaDataBox, TakesTheLongHeaderExactlyWhereTheShortOneIsTooSmall) {
  MP4G::CMediaDataBox box;
  box.SetMediaDataSize(0);
  EXPECT_EQ(8, box.GetBoxSize());
  box.SetMediaDataSize(0xFFFFFFF7);
  EXPECT_EQ(0xFFFFFFFFu, box.header->size);
  EXPECT_EQ(8u, box.GetBoxBaseSize());
  box.SetMediaDataSize(0xFFFFFFF8);
  EXPECT_EQ(1u, box.header->size);
  EXPECT_EQ(0x100000008u, box.largeSize);
  EXPECT_EQ(16u, box.GetBoxBaseSize());
  box.SetMediaDataSize(0x123456789A);
  EXPECT_EQ(0x12345678AA, box.GetBoxSize());
}

}  // namespace
