#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "box/box_factory.h"
#include "box/sample_table_boxes.h"
#include "support/box_io.h"

namespace {

using support::Bytes;
using support::FixAndWrite;
using support::FullBox;
using support::operator+;
using support::ParseBox;
using support::U16;
using support::U24;
using support::U32;
using support::U64;
using support::U8;
using support::Zeros;

TEST(SampleSizeBox, ReadsATableOfSizes) {
  MP4G::CSampleSizeBox box;
  const Bytes bytes = FullBox("stsz", 9, 7, {U32(0), U32(3), U32(10), U32(0x80000001), U32(30)});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0u, box.record->sampleSize);
  EXPECT_EQ(3u, box.record->sampleCount);
  EXPECT_EQ((QUIRVA::Table<unsigned int>{10, 0x80000001, 30}), box.entries);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(SampleSizeBox, ReadsNoEntriesBesideACommonSize) {
  MP4G::CSampleSizeBox box;
  const Bytes bytes = FullBox("stsz", 0, 0, {U32(7), U32(100)});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_TRUE(box.entries.empty());
  EXPECT_EQ(100u, box.record->sampleCount);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(SampleSizeBox, KeepsWhatAShortTableHolds) {
  const Bytes whole = FullBox("stsz", 0, 0, {U32(0), U32(2), U32(5), U32(6)});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    MP4G::CSampleSizeBox box;
    const Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_RESULT(S_FALSE, ParseBox(box, bytes)) << length;
    EXPECT_EQ(length >= 24 ? 1u : 0u, box.entries.size()) << length;
    EXPECT_EQ(length >= 20 ? 2u : 0u, box.record->sampleCount) << length;
  }
}

TEST(SampleSizeBox, AllocatesForTheBytesAndNotForTheCount) {
  MP4G::CSampleSizeBox box;
  EXPECT_RESULT(S_FALSE, ParseBox(box, FullBox("stsz", 0, 0, {U32(0), U32(0xFFFFFFFF), U32(5)})));
  EXPECT_LT(box.entries.capacity(), 100u);
}

TEST(SampleSizeBox, TurnsEqualSizesIntoOneCommonSize) {
  MP4G::CSampleSizeBox box;
  box.SetClassType(FourCc("stsz"));
  box.entries = {3, 3, 3};
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(3u, box.record->sampleSize);
  EXPECT_EQ(3u, box.record->sampleCount);
  EXPECT_EQ(3u, box.entries.size());
  EXPECT_EQ(FullBox("stsz", 0, 0, {U32(3), U32(3)}), FixAndWrite(box));
}

TEST(SampleSizeBox, KeepsTheTableWhereSizesDiffer) {
  MP4G::CSampleSizeBox box;
  box.SetClassType(FourCc("stsz"));
  box.entries = {3, 4};
  EXPECT_EQ(FullBox("stsz", 0, 0, {U32(0), U32(2), U32(3), U32(4)}), FixAndWrite(box));
  EXPECT_EQ(0u, box.record->sampleSize);
  EXPECT_EQ(2u, box.record->sampleCount);
}

TEST(SampleSizeBox, NoticesThatOnlyTheLastSizeDiffers) {
  MP4G::CSampleSizeBox box;
  box.entries = {3, 3, 4};
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0u, box.record->sampleSize);
}

TEST(SampleSizeBox, WritesATableOfZeroSizes) {
  MP4G::CSampleSizeBox box;
  const Bytes bytes = FullBox("stsz", 0, 0, {U32(0), U32(3), Zeros(12)});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(bytes, FixAndWrite(box));
  EXPECT_EQ(0u, box.record->sampleSize);
  EXPECT_EQ(3u, box.record->sampleCount);
}

TEST(SampleSizeBox, HasNoCommonSizeWithoutSamples) {
  MP4G::CSampleSizeBox box;
  const Bytes bytes = FullBox("stsz", 0, 0, {U32(0), U32(0)});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(SampleSizeBox, CountsTheTableWhenTheCountDisagrees) {
  MP4G::CSampleSizeBox box;
  ASSERT_OK(ParseBox(box, FullBox("stsz", 0, 0, {U32(0), U32(2), U32(3), U32(4)})));
  box.entries.push_back(5);
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(3u, box.record->sampleCount);
}

TEST(SampleSizeBox, LeavesTheCountAloneBesideACommonSize) {
  MP4G::CSampleSizeBox box;
  ASSERT_OK(ParseBox(box, FullBox("stsz", 0, 0, {U32(7), U32(100)})));
  box.entries = {1, 2};
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(7u, box.record->sampleSize);
  EXPECT_EQ(100u, box.record->sampleCount);
}

TEST(SampleSizeBox, AppendsWhenParsedAgain) {
  MP4G::CSampleSizeBox box;
  const Bytes bytes = FullBox("stsz", 0, 0, {U32(0), U32(2), U32(3), U32(4)});
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ((QUIRVA::Table<unsigned int>{3, 4, 3, 4}), box.entries);
}

TEST(SampleSizeBox, ResetEmptiesIt) {
  MP4G::CSampleSizeBox box;
  ASSERT_OK(ParseBox(box, FullBox("stsz", 0, 0, {U32(0), U32(2), U32(3), U32(4)})));
  box.Reset();
  EXPECT_TRUE(box.entries.empty());
  EXPECT_EQ(0u, box.record->sampleCount);
  ASSERT_OK(ParseBox(box, FullBox("stsz", 0, 0, {U32(7), U32(100)})));
  box.Reset();
  EXPECT_EQ(0u, box.record->sampleSize);
}

// Writes into every amount of room up to the box's whole length.
void ExpectShortWriteBelowFullRoom(const MP4G::CBox& box, const Bytes& whole) {
  for (unsigned int room = 0; room <= whole.size(); ++room) {
    Bytes written(whole.size(), 0xEE);
    unsigned char* out = written.data();
    unsigned int rest = room;
    EXPECT_RESULT(room < whole.size() ? S_FALSE : S_OK, box.GetDataImpl(out, rest)) << room;
    for (std::size_t i = room; i < written.size(); ++i) EXPECT_EQ(0xEE, written[i]) << room;
  }
}

TEST(SampleSizeBox, AnswersShortWhereTheOutputEnds) {
  MP4G::CSampleSizeBox box;
  const Bytes table = FullBox("stsz", 0, 0, {U32(0), U32(2), U32(5), U32(6)});
  ASSERT_OK(ParseBox(box, table));
  ExpectShortWriteBelowFullRoom(box, table);
  EXPECT_RESULT(E_POINTER, box.GetDataSizeImpl(nullptr));
}

class CompactSampleSizeBox : public testing::Test {
 protected:
  static Bytes Table(std::uint8_t fieldSize, unsigned int count, const Bytes& entries) {
    return FullBox("stz2", 0, 0, {U24(0xABCDEF), U8(fieldSize), U32(count), entries});
  }

  MP4G::CCompactSampleSizeBox box;
};

TEST_F(CompactSampleSizeBox, Reads16BitSizes) {
  const Bytes bytes = Table(16, 2, U16(0x1234) + U16(0xFFFE));
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{0x1234, 0xFFFE}), box.entries);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST_F(CompactSampleSizeBox, Writes8BitSizesWith16Bits) {
  ASSERT_OK(ParseBox(box, Table(8, 3, {1, 2, 3})));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{1, 2, 3}), box.entries);
  EXPECT_EQ(Table(8, 3, U16(1) + U16(2) + U16(3)), FixAndWrite(box));
  EXPECT_EQ(8, box.record->fieldSize);
}

TEST_F(CompactSampleSizeBox, GivesTwoEntriesForEveryByteOf4BitSizes) {
  unsigned int left = 99;
  ASSERT_OK(ParseBox(box, Table(4, 2, {0x12, 0x34}), &left));
  EXPECT_EQ(0u, left);
  EXPECT_EQ((QUIRVA::Table<unsigned short>{15, 0x1F, 15, 0x3F}), box.entries);
  EXPECT_EQ(2u, box.record->sampleCount);
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(4u, box.record->sampleCount);
  EXPECT_EQ(Table(4, 4, U16(15) + U16(0x1F) + U16(15) + U16(0x3F)), FixAndWrite(box));
}

TEST_F(CompactSampleSizeBox, LooksAtTheFieldSizeOnlyWhereThereAreEntries) {
  EXPECT_OK(ParseBox(box, Table(5, 0, {})));
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Table(5, 1, {1, 2})));
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Table(5, 1, {})));
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Table(0, 1, {1, 2})));
  EXPECT_TRUE(box.entries.empty());
  EXPECT_OK(ParseBox(box, Table(8, 1, {1})));
}

TEST_F(CompactSampleSizeBox, KeepsWhatAShortTableHolds) {
  EXPECT_RESULT(S_FALSE, ParseBox(box, Table(8, 3, {1, 2})));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{1, 2}), box.entries);
  box.entries.clear();
  EXPECT_RESULT(S_FALSE, ParseBox(box, Table(4, 2, {0x12})));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{15, 0x1F}), box.entries);
  box.entries.clear();
  EXPECT_RESULT(S_FALSE, ParseBox(box, Table(16, 2, U16(7))));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{7}), box.entries);
}

TEST_F(CompactSampleSizeBox, ReadsNo16BitSizeFromOneByte) {
  unsigned int left = 99;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Table(16, 1, {0x12}), &left));
  EXPECT_TRUE(box.entries.empty());
  EXPECT_EQ(1u, left);
}

TEST_F(CompactSampleSizeBox, AnswersShortWithoutItsWholeRecord) {
  const Bytes whole = Table(8, 0, {});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_RESULT(S_FALSE, ParseBox(box, bytes)) << length;
  }
  EXPECT_OK(ParseBox(box, whole));
  EXPECT_EQ(whole, FixAndWrite(box));
}

TEST_F(CompactSampleSizeBox, AllocatesForTheBytesAndNotForTheCount) {
  for (const unsigned char fieldSize : Bytes{4, 8, 16}) {
    EXPECT_RESULT(S_FALSE, ParseBox(box, Table(fieldSize, 0xFFFFFFFF, {1, 2})));
  }
  EXPECT_LT(box.entries.capacity(), 100u);
}

TEST_F(CompactSampleSizeBox, ResetZeroesTheRecordAndLeavesTheEntries) {
  ASSERT_OK(ParseBox(box, Table(8, 2, {1, 2})));
  box.Reset();
  EXPECT_EQ(0, box.record->fieldSize);
  EXPECT_EQ(0, box.record->reserved[0]);
  EXPECT_EQ(0u, box.record->sampleCount);
  EXPECT_EQ(2u, box.entries.size());
  ASSERT_OK(ParseBox(box, Table(8, 1, {3})));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{1, 2, 3}), box.entries);
}

TEST_F(CompactSampleSizeBox, AnswersShortWhereTheOutputEnds) {
  const Bytes table = Table(16, 2, U16(5) + U16(6));
  ASSERT_OK(ParseBox(box, table));
  ExpectShortWriteBelowFullRoom(box, table);
  EXPECT_RESULT(E_POINTER, box.GetDataSizeImpl(nullptr));
}

class SampleDependencyTypeBox : public testing::Test {
 protected:
  SampleDependencyTypeBox() : box(new MP4G::CSampleDependencyTypeBox) { table.AddChildBox(box); }

  MP4G::CSampleTableBox table;
  MP4G::CSampleDependencyTypeBox* box;  // owned by the table
};

TEST_F(SampleDependencyTypeBox, ReadsAByteForEachSampleToItsEnd) {
  const Bytes bytes = FullBox("sdtp", 3, 5, {{0x24, 0x00, 0xFF}});
  ASSERT_OK(ParseBox(*box, bytes));
  ASSERT_EQ(3u, box->entries.size());
  EXPECT_EQ(0x24, box->entries[0].flags);
  EXPECT_EQ(0xFF, box->entries[2].flags);
  EXPECT_EQ(bytes, FixAndWrite(*box));
}

TEST_F(SampleDependencyTypeBox, AcceptsNoEntries) {
  const Bytes bytes = FullBox("sdtp", 0, 0);
  ASSERT_OK(ParseBox(*box, bytes));
  EXPECT_TRUE(box->entries.empty());
  EXPECT_EQ(bytes, FixAndWrite(*box));
}

TEST_F(SampleDependencyTypeBox, RefusesToParseWithoutAParent) {
  MP4G::CSampleDependencyTypeBox alone;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(alone, FullBox("sdtp", 0, 0, {{1, 2}})));
  EXPECT_RESULT(E_BAD_DATA, ParseBox(alone, FullBox("sdtp", 0, 0)));
  EXPECT_TRUE(alone.entries.empty());
}

TEST_F(SampleDependencyTypeBox, KeepsWhatAShortTableHolds) {
  EXPECT_RESULT(S_FALSE, ParseBox(*box, support::WithU32(FullBox("sdtp", 0, 0, {{1, 2}}), 0, 15)));
  EXPECT_EQ(2u, box->entries.size());
  EXPECT_RESULT(S_FALSE, ParseBox(*box, support::Box("sdtp", {U24(0)})));
}

TEST_F(SampleDependencyTypeBox, HasNoEntriesWhereTheSizeFieldIsBelowItsHeader) {
  const Bytes large = U32(1) + support::Text("sdtp") + U64(22) + U32(0) + Bytes{1, 2};
  const unsigned char* in = large.data();
  unsigned int rest = static_cast<unsigned int>(large.size());
  EXPECT_OK(box->SetDataImpl(in, rest));
  EXPECT_TRUE(box->entries.empty());
  EXPECT_EQ(2u, rest);
}

TEST_F(SampleDependencyTypeBox, ParsesInsideItsTable) {
  MP4G::CSampleTableBox parsed;
  const Bytes bytes = support::Box("stbl", {FullBox("sdtp", 0, 0, {{1, 2}})});
  ASSERT_OK(ParseBox(parsed, bytes));
  EXPECT_EQ(bytes, FixAndWrite(parsed));
}

TEST_F(SampleDependencyTypeBox, AppendsWhenParsedAgainAndEmptiesOnReset) {
  ASSERT_OK(ParseBox(*box, FullBox("sdtp", 0, 0, {{1, 2}})));
  ASSERT_OK(ParseBox(*box, FullBox("sdtp", 0, 0, {{3}})));
  EXPECT_EQ(3u, box->entries.size());
  box->Reset();
  EXPECT_TRUE(box->entries.empty());
}

TEST_F(SampleDependencyTypeBox, AnswersShortWhereTheOutputEnds) {
  const Bytes bytes = FullBox("sdtp", 0, 0, {{1, 2, 3}});
  ASSERT_OK(ParseBox(*box, bytes));
  ExpectShortWriteBelowFullRoom(*box, bytes);
  EXPECT_RESULT(E_POINTER, box->GetDataSizeImpl(nullptr));
}

TEST(SampleTableBox, KeepsTheOrderOfItsChildren) {
  MP4G::CBox* made = nullptr;
  ASSERT_OK(MP4G::CBoxFactory::CreateBox<MP4G::CBox>(FourCc("stbl"), &made));
  const std::unique_ptr<MP4G::CBox> owned(made);
  ASSERT_NE(nullptr, dynamic_cast<MP4G::CSampleTableBox*>(made));
  const Bytes bytes = support::Box(
      "stbl", {FullBox("stts", 0, 0, {U32(1), U32(2), U32(3)}), support::Box("zzzz", {U32(9)}),
               FullBox("co64", 0, 0, {U32(1), U64(5)}), FullBox("stz2", 0, 0, {Zeros(8)}),
               FullBox("stsz", 0, 0, {U32(1), U32(2)})});
  ASSERT_OK(ParseBox(*made, bytes));
  EXPECT_NE(nullptr,
            dynamic_cast<MP4G::CCompactSampleSizeBox*>(made->GetChildBox(FourCc("stz2"), 0)));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CSampleSizeBox*>(made->GetChildBox(FourCc("stsz"), 0)));
  EXPECT_EQ(bytes, FixAndWrite(*made));
}

}  // namespace
