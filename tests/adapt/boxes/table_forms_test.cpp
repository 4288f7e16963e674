#include "adapt/boxes/table_forms.h"

#include <gtest/gtest.h>

#include "adapt/boxes/track_tables.h"
#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::Hex;
using support::U32;

const Bytes kUniform = FullBox("stsz", 0, 0, {U32(4), U32(2)});
const Bytes kTable = FullBox("stsz", 0, 0, {U32(0), U32(2), U32(5), U32(6)});
const Bytes kCompact = FullBox("stz2", 0, 0, {U32(8), U32(2), Hex("07 08")});

RawBox TableOf(const Bytes& boxes) { return RawBoxOf(Box("stbl", {boxes})); }

TEST(TableForms, TablesOfOneFormStayAsTheyAre) {
  for (const Bytes& boxes : {kUniform, kTable}) {
    RawBox first = TableOf(boxes + FullBox("stss", 0, 0, {U32(1), U32(1)}));
    RawBox second = first;
    const Bytes before = first.Written();
    EXPECT_TRUE(GiveOneForm({&first, &second}).empty());
    EXPECT_EQ(first.Written(), before);
    EXPECT_EQ(second.Written(), before);
  }
}

TEST(TableForms, CompactSizesAreSpelledOut) {
  RawBox first = TableOf(kCompact);
  RawBox second = TableOf(kCompact);
  EXPECT_EQ(GiveOneForm({&first, &second}).size(), 2u);
  EXPECT_EQ(first.Written(),
            TableOf(FullBox("stsz", 0, 0, {U32(0), U32(2), U32(7), U32(8)})).Written());
  EXPECT_EQ(second.Written(), first.Written());
}

TEST(TableForms, OneSizeThatMeetsATableIsSpelledOut) {
  RawBox first = TableOf(kUniform);
  RawBox second = TableOf(kTable);
  const auto changes = GiveOneForm({&first, &second});
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].table, 0u);
  EXPECT_EQ(ReadSizes(*first.Child(FourCc("stsz"))), (SampleSizes{0, 2, {4, 4}}));
  EXPECT_EQ(second.Written(), TableOf(kTable).Written());
}

TEST(TableForms, SpellsOutOnlyWhatMemoryCanTake) {
  RawBox first = TableOf(FullBox("stsz", 0, 0, {U32(4), U32(0x10000001)}));
  RawBox second = TableOf(kTable + FullBox("stss", 0, 0, {U32(0)}) + FullBox("sdtp", 0, 0, {}));
  const Bytes before = first.Written();
  for (const FormChange& change : GiveOneForm({&first, &second})) EXPECT_EQ(change.table, 1u);
  EXPECT_EQ(first.Written(), before);
}

// The engine would take two tables of one size for that size alone, and lose what follows.
TEST(TableForms, SizesThatAreAlikeAtFirstAreTakenApart) {
  const Bytes alike = FullBox("stsz", 0, 0, {U32(0), U32(1), U32(4)});
  const auto take = [](const std::vector<Bytes>& boxes) {
    std::vector<RawBox> tables;
    for (const Bytes& box : boxes) tables.push_back(TableOf(box));
    std::vector<RawBox*> places;
    for (RawBox& table : tables) places.push_back(&table);
    const auto joined = TakeSizes(places);
    for (std::size_t i = 0; joined && i < tables.size(); ++i)
      EXPECT_EQ(ReadSizes(*tables[i].Child(FourCc("stsz")))->uniform, 1u);
    for (std::size_t i = 0; !joined && i < tables.size(); ++i)
      EXPECT_EQ(tables[i].Written(), TableOf(boxes[i]).Written());
    return joined;
  };
  EXPECT_EQ(take({kUniform, alike, kTable}), (SampleSizes{0, 5, {4, 4, 4, 5, 6}}));
  EXPECT_EQ(take({alike, alike, kTable, kUniform}), (SampleSizes{0, 6, {4, 4, 5, 6, 4, 4}}));
  EXPECT_EQ(take({alike, kTable, alike}), std::nullopt);
  EXPECT_EQ(take({kTable, alike, alike}), std::nullopt);
  EXPECT_EQ(take({alike, alike, alike}), (SampleSizes{0, 3, {4, 4, 4}}));
  EXPECT_EQ(take({alike, alike}), std::nullopt);
  EXPECT_EQ(take({kUniform, kUniform, kUniform}), std::nullopt);
}

TEST(TableForms, OffsetsThatOneLacksAreZeros) {
  RawBox first = TableOf(kTable);
  RawBox second = TableOf(kTable + FullBox("ctts", 0, 0, {U32(1), U32(2), U32(9)}));
  EXPECT_EQ(GiveOneForm({&first, &second}).size(), 1u);
  EXPECT_EQ(ReadOffsets(*first.Child(FourCc("ctts"))), (OffsetRuns{{2, 0}}));
}

TEST(TableForms, OffsetsOfBothVersionsGetASign) {
  RawBox first = TableOf(kTable + FullBox("ctts", 0, 0, {U32(1), U32(2), U32(9)}));
  RawBox second = TableOf(kTable + FullBox("ctts", 1, 0, {U32(1), U32(2), U32(0xFFFFFFF7)}));
  RawBox third = TableOf(kTable);
  EXPECT_EQ(GiveOneForm({&first, &second, &third}).size(), 2u);
  for (const RawBox* table : {&first, &second, &third}) {
    EXPECT_EQ(table->Child(FourCc("ctts"))->data.front(), 1);
  }
  EXPECT_EQ(ReadOffsets(*first.Child(FourCc("ctts"))), (OffsetRuns{{2, 9}}));
  EXPECT_EQ(ReadOffsets(*second.Child(FourCc("ctts"))), (OffsetRuns{{2, -9}}));
  RawBox large = TableOf(kTable + FullBox("ctts", 0, 0, {U32(1), U32(2), U32(0xFFFFFFF7)}));
  EXPECT_TRUE(GiveOneForm({&large, &second}).empty());
}

TEST(TableForms, WithoutATableAllSamplesAreSyncSamples) {
  RawBox first = TableOf(kUniform);
  RawBox second = TableOf(kUniform + FullBox("stss", 0, 0, {U32(1), U32(2)}));
  EXPECT_EQ(GiveOneForm({&first, &second}).size(), 1u);
  EXPECT_EQ(ReadSampleNumbers(*first.Child(FourCc("stss"))), (std::vector<std::uint32_t>{1, 2}));
  EXPECT_EQ(ReadSampleNumbers(*second.Child(FourCc("stss"))), (std::vector<std::uint32_t>{2}));
}

TEST(TableForms, DependenciesThatOneLacksAreUnknown) {
  RawBox first = TableOf(kUniform);
  RawBox second = TableOf(kUniform + FullBox("sdtp", 0, 0, {Hex("20 10")}));
  EXPECT_EQ(GiveOneForm({&first, &second}).size(), 1u);
  EXPECT_EQ(first.Written(), TableOf(kUniform + FullBox("sdtp", 0, 0, {Hex("00 00")})).Written());
}

TEST(TableForms, DependenciesOfAnotherNumberOfSamplesAreUnknownBehindThem) {
  RawBox first = TableOf(kUniform + FullBox("sdtp", 0, 0, {Hex("20 10 18")}));
  RawBox second = TableOf(kUniform + FullBox("sdtp", 0, 0, {Hex("20")}));
  EXPECT_EQ(GiveOneForm({&first, &second}).size(), 2u);
  EXPECT_EQ(first.Written(), TableOf(kUniform + FullBox("sdtp", 0, 0, {Hex("20 10")})).Written());
  EXPECT_EQ(second.Written(), TableOf(kUniform + FullBox("sdtp", 0, 0, {Hex("20 00")})).Written());
}

TEST(TableForms, ATableThatCannotBeReadStaysAsItIs) {
  const Bytes broken = FullBox("stsz", 0, 0, {U32(0), U32(9)}) + FullBox("stss", 0, 0, {U32(0)});
  RawBox first = TableOf(broken);
  RawBox second = TableOf(kCompact);
  EXPECT_TRUE(GiveOneForm({&first, &second}).empty());
  EXPECT_EQ(CountSamples(first), std::nullopt);
  EXPECT_EQ(CountSamples(second), 2u);
}

}  // namespace
}  // namespace clipchain
