// The changes that the sample table reader makes to chunk offsets.
#include <gtest/gtest.h>

#include <limits>

#include "box/data_boxes.h"
#include "box/sample_table_boxes.h"
#include "reader/sample_table_reader.h"
#include "reader/typed_views.h"
#include "support/box_io.h"
#include "support/table_bytes.h"

namespace {

using MP4G::CChunkLargeOffsetBox;
using MP4G::CChunkOffsetBox;
using MP4G::CSampleTableBox;
using MP4G::CSampleTableReader;
using support::Box;
using support::Bytes;
using support::Co64;
using support::FixAndWrite;
using support::operator+;
using support::Stco;
using support::UniformStsz;

using Narrow = QUIRVA::Table<unsigned int>;
using Wide = QUIRVA::Table<unsigned long long>;

class ChunkOffsets : public testing::Test {
 protected:
  CSampleTableReader Read(const Bytes& boxes) {
    box = support::Parsed<CSampleTableBox>(Box("stbl", {boxes}));
    EXPECT_NE(nullptr, box);
    return CSampleTableReader(box.get());
  }
  CChunkOffsetBox* Stco32() const { return MP4G::CSampleTableBox_wr(box.get()).ChunkOffsetBox(); }
  CChunkLargeOffsetBox* Co64Box() const {
    return MP4G::CSampleTableBox_wr(box.get()).ChunkLargeOffsetBox();
  }

  std::unique_ptr<CSampleTableBox> box;
};

TEST_F(ChunkOffsets, MoveUpAndWrapAtTheirWidth) {
  EXPECT_OK(Read(Stco({60, 0xFFFFFFFF})).RewriteChunkOffset(100));
  EXPECT_EQ((Narrow{160, 99}), Stco32()->entries);
  EXPECT_OK(Read(Co64({60, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF})).RewriteChunkOffset(100));
  EXPECT_EQ((Wide{160, 0x100000063, 99}), Co64Box()->entries);
}

TEST_F(ChunkOffsets, MoveDownAsFarAsZero) {
  EXPECT_OK(Read(Stco({60, 100, 101, 0xFFFFFFFF})).RewriteChunkOffset(-100));
  EXPECT_EQ((Narrow{0, 0, 1, 0xFFFFFF9B}), Stco32()->entries);
  EXPECT_OK(Read(Co64({60, 100, 101, 0xFFFFFFFFFFFFFFFF})).RewriteChunkOffset(-100));
  EXPECT_EQ((Wide{0, 0, 1, 0xFFFFFFFFFFFFFF9B}), Co64Box()->entries);
}

TEST_F(ChunkOffsets, StayForADeltaOfZero) {
  EXPECT_OK(Read(Stco({0, 60})).RewriteChunkOffset(0));
  EXPECT_EQ((Narrow{0, 60}), Stco32()->entries);
  EXPECT_OK(Read(Co64({0, 60})).RewriteChunkOffset(0));
  EXPECT_EQ((Wide{0, 60}), Co64Box()->entries);
}

TEST_F(ChunkOffsets, RefuseToMove32BitsFurtherThan32Bits) {
  EXPECT_RESULT(E_INVALIDARG, Read(Stco({60})).RewriteChunkOffset(0x100000000));
  EXPECT_EQ((Narrow{60}), Stco32()->entries);
  EXPECT_RESULT(E_INVALIDARG, Read(Stco({60})).RewriteChunkOffset(-0x100000000));
  EXPECT_EQ((Narrow{60}), Stco32()->entries);
  EXPECT_OK(Read(Stco({60})).RewriteChunkOffset(0xFFFFFFFF));
  EXPECT_EQ((Narrow{59}), Stco32()->entries);
  EXPECT_OK(Read(Stco({60})).RewriteChunkOffset(-0xFFFFFFFFLL));
  EXPECT_EQ((Narrow{0}), Stco32()->entries);
}

TEST_F(ChunkOffsets, Move64BitsByAnyAmount) {
  EXPECT_OK(Read(Co64({60})).RewriteChunkOffset(0x100000000));
  EXPECT_EQ((Wide{0x10000003C}), Co64Box()->entries);
  EXPECT_OK(Read(Co64({60, 0x8000000000000001}))
                .RewriteChunkOffset(std::numeric_limits<long long>::min()));
  EXPECT_EQ((Wide{0, 1}), Co64Box()->entries);
}

TEST_F(ChunkOffsets, MoveIn32BitsAloneWhereBothAreThere) {
  EXPECT_OK(Read(Co64({60}) + Stco({60})).RewriteChunkOffset(1));
  EXPECT_EQ((Narrow{61}), Stco32()->entries);
  EXPECT_EQ((Wide{60}), Co64Box()->entries);
}

TEST_F(ChunkOffsets, MustBeThereToMove) {
  EXPECT_RESULT(E_BAD_DATA, Read(UniformStsz(1, 1)).RewriteChunkOffset(1));
  EXPECT_RESULT(E_BAD_DATA, CSampleTableReader(nullptr).RewriteChunkOffset(1));
}

TEST_F(ChunkOffsets, WidenInTheirPlace) {
  ASSERT_OK(Read(UniformStsz(1, 1) + Stco({60, 0xFFFFFFFF}) + Box("free"))
                .ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_EQ(nullptr, Stco32());
  ASSERT_NE(nullptr, Co64Box());
  EXPECT_EQ((Wide{60, 0xFFFFFFFF}), Co64Box()->entries);
  EXPECT_EQ(nullptr, Co64Box()->parent);
  EXPECT_EQ(0u, Co64Box()->header->type);
  EXPECT_EQ(Box("stbl", {UniformStsz(1, 1), Co64({60, 0xFFFFFFFF}), Box("free")}),
            FixAndWrite(*box));
}

TEST_F(ChunkOffsets, StayAsTheyAreWithoutABoxToWiden) {
  const Bytes boxes = UniformStsz(1, 1) + Co64({60});
  CSampleTableReader reader = Read(boxes);
  CChunkLargeOffsetBox* before = Co64Box();
  EXPECT_OK(reader.ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_EQ(before, Co64Box());
  EXPECT_EQ(Box("stbl", {boxes}), FixAndWrite(*box));
  EXPECT_RESULT(E_POINTER, CSampleTableReader(nullptr).ConvertChunkOffsetToChunkLargeOffset());
}

TEST_F(ChunkOffsets, WidenOnlyTheFirstOfTwoBoxes) {
  ASSERT_OK(Read(Stco({1}) + Stco({2})).ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_EQ(Box("stbl", {Co64({1}), Stco({2})}), FixAndWrite(*box));
}

TEST_F(ChunkOffsets, AreLookedForByTheTypeInTheHeaderToWiden) {
  CSampleTableReader reader = Read(UniformStsz(1, 1));
  auto* opaque = new MP4G::CDataMemBox;
  opaque->header->type = FourCc("stco");
  box->children.push_back(nullptr);
  box->AddChildBox(opaque);
  EXPECT_RESULT(E_UNEXPECTED, reader.ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_EQ(opaque, box->children.back());

  auto* untyped = new CChunkOffsetBox;
  untyped->SetClassType(FourCc("stco"));
  reader = Read(UniformStsz(1, 1));
  box->AddChildBox(untyped);
  EXPECT_OK(reader.ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_EQ(untyped, Stco32());
}

TEST_F(ChunkOffsets, CanBeNarrowedIfTheLastOneFits) {
  EXPECT_FALSE(CSampleTableReader(nullptr).CanConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(Read(UniformStsz(1, 1)).CanConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(Read(Stco({1})).CanConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(Read(Co64({})).CanConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(Read(Co64({1, 0x100000000})).CanConvertChunkLargeOffsetToChunkOffset());
  EXPECT_TRUE(Read(Co64({1, 0xFFFFFFFF})).CanConvertChunkLargeOffsetToChunkOffset());
  EXPECT_TRUE(Read(Co64({0x100000000, 1})).CanConvertChunkLargeOffsetToChunkOffset());
}

TEST_F(ChunkOffsets, NarrowInTheirPlace) {
  ASSERT_OK(Read(UniformStsz(1, 1) + Co64({60, 0xFFFFFFFF}) + Box("free"))
                .ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_EQ(nullptr, Co64Box());
  ASSERT_NE(nullptr, Stco32());
  EXPECT_EQ((Narrow{60, 0xFFFFFFFF}), Stco32()->entries);
  EXPECT_EQ(nullptr, Stco32()->parent);
  EXPECT_EQ(0u, Stco32()->header->type);
  EXPECT_EQ(Box("stbl", {UniformStsz(1, 1), Stco({60, 0xFFFFFFFF}), Box("free")}),
            FixAndWrite(*box));
}

TEST_F(ChunkOffsets, NarrowAgainWhatWasWidenedWithoutFixing) {
  const Bytes boxes = UniformStsz(1, 1) + Stco({60, 70}) + Box("free");
  CSampleTableReader reader = Read(boxes);
  ASSERT_OK(reader.ConvertChunkOffsetToChunkLargeOffset());
  ASSERT_OK(reader.ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_EQ(Box("stbl", {boxes}), FixAndWrite(*box));
}

TEST_F(ChunkOffsets, StayWideWhereTheyCannotBeNarrowed) {
  const Bytes boxes = Co64({1, 0x100000000});
  EXPECT_RESULT(S_FALSE, Read(boxes).ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_EQ(Box("stbl", {boxes}), FixAndWrite(*box));
  EXPECT_RESULT(S_FALSE, CSampleTableReader(nullptr).ConvertChunkLargeOffsetToChunkOffset());
}

TEST_F(ChunkOffsets, LeaveBothBoxesWhereOneBeforeTheLastDoesNotFit) {
  EXPECT_RESULT(E_UNEXPECTED, Read(UniformStsz(1, 1) + Co64({1, 2, 0x100000000, 3}))
                                  .ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_EQ((Narrow{1, 2}), Stco32()->entries);
  EXPECT_EQ(Box("stbl", {UniformStsz(1, 1), Stco({1, 2}), Co64({1, 2, 0x100000000, 3})}),
            FixAndWrite(*box));
}

}  // namespace
