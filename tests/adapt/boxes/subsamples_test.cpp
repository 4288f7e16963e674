#include "adapt/boxes/subsamples.h"

#include <gtest/gtest.h>

#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::Hex;
using support::U16;
using support::U32;

const Bytes kEnd = Hex("0A 00 00000007");

Bytes Narrow(std::uint32_t distance, std::uint16_t size) {
  return U32(distance) + U16(1) + U16(size) + kEnd;
}

Bytes Wide(std::uint32_t distance, std::uint32_t size) {
  return U32(distance) + U16(1) + U32(size) + kEnd;
}

RawBox TableOf(const Bytes& boxes) { return RawBoxOf(Box("stbl", {boxes})); }

Bytes Joined(const Subsamples& subsamples) {
  RawBox table;
  table.type = FourCc("stbl");
  subsamples.Write(table);
  Bytes bytes;
  for (const RawBox& box : table.children) box.Write(bytes);
  return bytes;
}

TEST(Subsamples, SamplesCountOnBehindThePartBefore) {
  Subsamples subsamples;
  subsamples.Append(TableOf(FullBox("subs", 0, 2, {U32(2), Narrow(1, 5), Narrow(2, 6)})), 10);
  subsamples.Append(TableOf({}), 4);
  subsamples.Append(TableOf(FullBox("subs", 0, 2, {U32(1), Narrow(3, 7)})), 5);
  EXPECT_EQ(Joined(subsamples),
            FullBox("subs", 0, 2, {U32(3), Narrow(1, 5), Narrow(2, 6), Narrow(14, 7)}));
}

TEST(Subsamples, SizesAreWidenedWhereOnePartNeedsIt) {
  Subsamples subsamples;
  subsamples.Append(TableOf(FullBox("subs", 0, 0, {U32(1), Narrow(1, 5)})), 1);
  subsamples.Append(TableOf(FullBox("subs", 1, 0, {U32(1), Wide(1, 0x10000)})), 1);
  subsamples.Append(TableOf(FullBox("subs", 0, 0, {U32(1), Narrow(1, 6)})), 1);
  EXPECT_EQ(Joined(subsamples),
            FullBox("subs", 1, 0, {U32(3), Wide(1, 5), Wide(1, 0x10000), Wide(1, 6)}));
}

TEST(Subsamples, TablesDifferByTheirFlags) {
  Subsamples subsamples;
  subsamples.Append(TableOf(FullBox("subs", 0, 1, {U32(1), Narrow(1, 5)}) +
                            FullBox("subs", 0, 2, {U32(1), Narrow(1, 6)})),
                    1);
  EXPECT_EQ(Joined(subsamples), FullBox("subs", 0, 1, {U32(1), Narrow(1, 5)}) +
                                    FullBox("subs", 0, 2, {U32(1), Narrow(1, 6)}));
}

TEST(Subsamples, TablesThatCannotBeReadAreLeftOut) {
  for (const Bytes& wrong :
       {FullBox("subs", 0, 0, {U32(2), Narrow(1, 5)}),
        FullBox("subs", 0, 0, {U32(1), Narrow(3, 5)}),
        FullBox("subs", 0, 0, {U32(1), Narrow(0, 5)}), FullBox("subs", 2, 0, {U32(0)}),
        FullBox("subs", 0, 0, {U32(0xFFFFFFFF)}),
        FullBox("subs", 0, 0, {U32(1), Narrow(1, 5)}) +
            FullBox("subs", 0, 0, {U32(1), Narrow(1, 5)})}) {
    Subsamples subsamples;
    subsamples.Append(TableOf(wrong), 2);
    EXPECT_TRUE(subsamples.IsLeftOut());
    subsamples.Append(TableOf(FullBox("subs", 0, 0, {U32(1), Narrow(1, 5)})), 2);
    EXPECT_EQ(Joined(subsamples), Bytes());
  }
}

}  // namespace
}  // namespace clipchain
