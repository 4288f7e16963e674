#include "workflow/assembling/moved_offsets.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

using namespace support;
using clipchain::WithMovedOffsets;

namespace {

Bytes MovieWith(const Bytes& table) {
  const Bytes tables = Box("stbl", {FullBox("stts", 0, 0, {U32(0)}), table});
  return Box("moov", {Box("free"), Box("trak", {Box("mdia", {Box("minf", {tables})})})});
}

Bytes Narrow(std::uint32_t first, std::uint32_t second) {
  return FullBox("stco", 0, 0, {U32(2), U32(first), U32(second)});
}

Bytes Wide(std::uint64_t first, std::uint64_t second) {
  return FullBox("co64", 0, 0, {U32(2), U64(first), U64(second)});
}

}  // namespace

TEST(WithMovedOffsets, AddsToEveryOffsetAndKeepsAllElse) {
  EXPECT_EQ(MovieWith(Narrow(110, 12)), WithMovedOffsets(MovieWith(Narrow(100, 2)), 10));
  EXPECT_EQ(MovieWith(Wide(110, 0x100000000)),
            WithMovedOffsets(MovieWith(Wide(100, 0xFFFFFFF6)), 10));
}

TEST(WithMovedOffsets, GivesATableSixtyFourBitsOnceItNeedsThem) {
  EXPECT_EQ(MovieWith(Narrow(9, 0xFFFFFFFF)),
            WithMovedOffsets(MovieWith(Narrow(0, 0xFFFFFFF6)), 9));
  EXPECT_EQ(MovieWith(Wide(10, 0x100000000)),
            WithMovedOffsets(MovieWith(Narrow(0, 0xFFFFFFF6)), 10));
}

// What looks like a table elsewhere is none.
TEST(WithMovedOffsets, LeavesWhatIsNoTableOfATrack) {
  const Bytes movie = Box("moov", {Box("udta", {Narrow(1, 2)}), Narrow(3, 4)});
  EXPECT_EQ(movie, WithMovedOffsets(movie, 10));
}

TEST(WithMovedOffsets, RefusesWhatContradictsItself) {
  const Bytes good = MovieWith(Narrow(1, 2));
  EXPECT_TRUE(WithMovedOffsets(good, 1));
  EXPECT_FALSE(WithMovedOffsets(Box("moof"), 1));
  EXPECT_FALSE(WithMovedOffsets(good + Box("free"), 1));
  EXPECT_FALSE(WithMovedOffsets(MovieWith(FullBox("stco", 0, 0, {U32(3), U64(0)})), 1));
  EXPECT_FALSE(WithMovedOffsets(MovieWith(FullBox("co64", 0, 0, {U32(1), U32(0)})), 1));
  EXPECT_FALSE(WithMovedOffsets(MovieWith(Box("stco", {U32(0)})), 1));
}
