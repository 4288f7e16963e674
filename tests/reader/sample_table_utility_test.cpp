#include "reader/sample_table_utility.h"

#include <gtest/gtest.h>

#include "box/sample_table_boxes.h"
#include "support/box_io.h"
#include "support/table_bytes.h"

namespace {

using MP4G::CSampleTableUtility;
using support::Bytes;
using support::operator+;

std::unique_ptr<MP4G::CSampleTableBox> Table(const Bytes& boxes) {
  return support::Parsed<MP4G::CSampleTableBox>(support::Box("stbl", {boxes}));
}

TEST(SampleTableUtility, MultipliesACommonSizeEvenPastTheEnd) {
  const auto table = Table(support::UniformStsz(100, 4));
  const CSampleTableUtility utility(table.get());
  EXPECT_EQ(200, utility.SampleSizeSum(3, 5));
  EXPECT_EQ(0, utility.SampleSizeSum(5, 3));
  EXPECT_EQ(0, utility.SampleSizeSum(3, 3));
  EXPECT_EQ(100 * 0xFFFFFFFFLL, utility.SampleSizeSum(0, 0xFFFFFFFF));
}

TEST(SampleTableUtility, AddsUpTheSizesThatAreThere) {
  const auto table = Table(support::Stsz({10, 20, 30}));
  const CSampleTableUtility utility(table.get());
  EXPECT_EQ(50, utility.SampleSizeSum(1, 3));
  EXPECT_EQ(50, utility.SampleSizeSum(1, 9));
  EXPECT_EQ(0, utility.SampleSizeSum(0, 0));
  EXPECT_EQ(0, utility.SampleSizeSum(2, 1));
  EXPECT_EQ(0, utility.SampleSizeSum(3, 9));
  EXPECT_EQ(10, utility.SampleSizeSum(0, 1));
}

TEST(SampleTableUtility, AddsUpIn64Bits) {
  const auto table = Table(support::Stsz({0xFFFFFFFF, 0xFFFFFFFF}));
  EXPECT_EQ(0x1FFFFFFFELL, CSampleTableUtility(table.get()).SampleSizeSum(0, 2));
}

TEST(SampleTableUtility, KnowsNoCompactSizes) {
  const auto table = Table(support::Stz2({10, 20}));
  const CSampleTableUtility utility(table.get());
  EXPECT_EQ(0, utility.SampleSizeSum(0, 2));
  EXPECT_EQ(0, utility.SampleSizeSumFromSampleSizeBox(0, 2));
  EXPECT_EQ(0, utility.SampleSizeSumFromCompactSampleSizeBox(0, 2));
}

TEST(SampleTableUtility, FindsTheChunkIn32BitOffsets) {
  const auto table = Table(support::Stco({100, 0xFFFFFFFF}) + support::Co64({1, 2, 3}));
  const CSampleTableUtility utility(table.get());
  EXPECT_EQ(100, utility.ChunkPos(0));
  EXPECT_EQ(0xFFFFFFFFLL, utility.ChunkPos(1));
  EXPECT_EQ(0, utility.ChunkPos(2));
}

TEST(SampleTableUtility, PlacesEveryChunkOf64BitOffsetsAtZero) {
  const auto table = Table(support::Co64({100, 0x100000000}));
  const CSampleTableUtility utility(table.get());
  EXPECT_EQ(0, utility.ChunkPos(0));
  EXPECT_EQ(0, utility.ChunkPosFromChunkOffsetBox(0));
  EXPECT_EQ(0x100000000, utility.ChunkPosFromChunkLargeOffsetBox(1));
  EXPECT_EQ(0, utility.ChunkPosFromChunkLargeOffsetBox(2));
}

TEST(SampleTableUtility, AnswersZeroWithoutATable) {
  CSampleTableUtility utility(nullptr);
  utility.ResetClass();
  EXPECT_EQ(0, utility.SampleSizeSum(0, 9));
  EXPECT_EQ(0, utility.ChunkPos(0));
  EXPECT_EQ(0, utility.ChunkPosFromChunkLargeOffsetBox(0));
}

}  // namespace
