#include "workflow/assembling/moved_offsets.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/bytes.h"

using namespace support;
using clipchain::MoveOffsets;

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

// Nothing where that is refused, which must leave the bytes as they were.
std::optional<Bytes> Moved(const Bytes& movie, std::uint64_t by) {
  Bytes moved = movie;
  if (MoveOffsets(moved, by)) return moved;
  EXPECT_EQ(movie, moved);
  return std::nullopt;
}

}  // namespace

TEST(MoveOffsets, AddsToEveryOffsetAndKeepsAllElse) {
  EXPECT_EQ(MovieWith(Narrow(110, 12)), Moved(MovieWith(Narrow(100, 2)), 10));
  EXPECT_EQ(MovieWith(Wide(110, 0x100000000)), Moved(MovieWith(Wide(100, 0xFFFFFFF6)), 10));
}

TEST(MoveOffsets, GivesATableSixtyFourBitsOnceItNeedsThem) {
  EXPECT_EQ(MovieWith(Narrow(9, 0xFFFFFFFF)), Moved(MovieWith(Narrow(0, 0xFFFFFFF6)), 9));
  EXPECT_EQ(MovieWith(Wide(10, 0x100000000)), Moved(MovieWith(Narrow(0, 0xFFFFFFF6)), 10));
}

// What looks like a table elsewhere is none.
TEST(MoveOffsets, LeavesWhatIsNoTableOfATrack) {
  const Bytes movie = Box("moov", {Box("udta", {Narrow(1, 2)}), Narrow(3, 4)});
  EXPECT_EQ(movie, Moved(movie, 10));
}

TEST(MoveOffsets, RefusesWhatContradictsItself) {
  const Bytes good = MovieWith(Narrow(1, 2));
  EXPECT_TRUE(Moved(good, 1));
  EXPECT_FALSE(Moved(Box("moof"), 1));
  EXPECT_FALSE(Moved(good + Box("free"), 1));
  EXPECT_FALSE(Moved(MovieWith(FullBox("stco", 0, 0, {U32(3), U64(0)})), 1));
  EXPECT_FALSE(Moved(MovieWith(FullBox("co64", 0, 0, {U32(1), U32(0)})), 1));
  EXPECT_FALSE(Moved(MovieWith(Box("stco", {U32(0)})), 1));
}

// Behind a table that must become wider, one that need not, and bytes behind the entries of both.
TEST(MoveOffsets, WidensNoMoreThanItMust) {
  const auto movie = [](const Bytes& first, const Bytes& second) {
    return Box("moov", {Box("trak", {Box("mdia", {Box("minf", {Box("stbl", {first})})})}),
                        Box("trak", {Box("mdia", {Box("minf", {Box("stbl", {second})})})})});
  };
  const auto narrow = [](std::uint32_t offset) {
    return FullBox("stco", 0, 0, {U32(1), U32(offset), U32(77)});
  };
  EXPECT_EQ(movie(FullBox("co64", 0, 0, {U32(1), U64(0x100000001), U32(77)}), narrow(7)),
            Moved(movie(narrow(0xFFFFFFFC), narrow(2)), 5));
}
