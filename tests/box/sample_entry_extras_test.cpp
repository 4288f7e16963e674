#include "box/sample_entry_extras.h"

#include <gtest/gtest.h>

#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CViewEntry;
using MP4G::CViewIdentifierBox;
using support::Box;
using support::Bytes;
using support::Fill;
using support::FixAndWrite;
using support::FullBox;
using support::Join;
using support::MakeBox;
using support::ParseBox;
using support::SizeOf;
using support::U16;
using support::U32;
using support::U8;
using support::WriteBox;
using support::Zeros;

Bytes Cut(const Bytes& bytes, std::size_t length) { return {bytes.data(), bytes.data() + length}; }

HRESULT ReadEntry(CViewEntry& entry, const Bytes& bytes, unsigned int* left) {
  const Bytes exact = Cut(bytes, bytes.size());
  const unsigned char* in = exact.data();
  *left = static_cast<unsigned int>(exact.size());
  return entry.SetData(in, *left);
}

HRESULT WriteEntry(const CViewEntry& entry, std::size_t room, Bytes* written) {
  const auto block = std::make_unique<unsigned char[]>(room);
  unsigned char* out = block.get();
  unsigned int rest = static_cast<unsigned int>(room);
  const HRESULT result = entry.GetData(out, rest);
  written->assign(block.get(), out);
  return result;
}

TEST(SampleEntryExtras, OfOneRecordKeepItAsItStands) {
  const std::pair<const char*, unsigned int> kinds[] = {
      {"btrt", 12}, {"pasp", 8}, {"clap", 32}, {"fiel", 2}};
  for (const auto& [type, length] : kinds) {
    SCOPED_TRACE(type);
    const Bytes bytes = Box(type, {Fill(length, 0xA5)});
    const auto box = MakeBox(type);
    ASSERT_OK(ParseBox(*box, bytes));
    EXPECT_EQ(8 + length, SizeOf(*box));
    EXPECT_EQ(bytes, FixAndWrite(*box));
    const auto cut = MakeBox(type);
    unsigned int left = 0;
    EXPECT_RESULT(S_FALSE, ParseBox(*cut, Cut(bytes, bytes.size() - 1), &left));
    EXPECT_EQ(length - 1, left);
    Bytes written;
    EXPECT_RESULT(S_FALSE, WriteBox(*box, bytes.size() - 1, &written));
    EXPECT_EQ(8u, written.size());
  }
}

TEST(SampleEntryExtras, NewOnesHaveDefinedFractions) {
  EXPECT_EQ(Box("btrt", {Zeros(12)}), FixAndWrite(*MakeBox("btrt")));
  EXPECT_EQ(Box("pasp", {Zeros(8)}), FixAndWrite(*MakeBox("pasp")));
  EXPECT_EQ(Box("fiel", {Zeros(2)}), FixAndWrite(*MakeBox("fiel")));
  const Bytes clap = Box("clap", {U32(0), U32(1), U32(0), U32(1), U32(0), U32(1), U32(0), U32(1)});
  EXPECT_EQ(clap, FixAndWrite(*MakeBox("clap")));
  const auto used = MakeBox("clap");
  ASSERT_OK(ParseBox(*used, Box("clap", {Fill(32, 7)})));
  used->Reset();
  EXPECT_EQ(clap, FixAndWrite(*used));
}

TEST(SampleEntryExtras, HaveTheFieldsOfTheFormat) {
  MP4G::CMpeg4BitRateBox rate;
  ASSERT_OK(ParseBox(rate, Box("btrt", {U32(1), U32(2), U32(3)})));
  EXPECT_EQ(1u, rate.record->bufferSizeDB);
  EXPECT_EQ(2u, rate.record->maxBitrate);
  EXPECT_EQ(3u, rate.record->avgBitrate);
  MP4G::CAspectRatioBox aspect;
  ASSERT_OK(ParseBox(aspect, Box("pasp", {U32(1), U32(2)})));
  EXPECT_EQ(1u, aspect.record->hSpacing);
  EXPECT_EQ(2u, aspect.record->vSpacing);
  MP4G::CCleanApertureBox clean;
  ASSERT_OK(ParseBox(
      clean, Box("clap", {U32(1), U32(2), U32(3), U32(4), U32(5), U32(6), U32(7), U32(8)})));
  EXPECT_EQ(1u, clean.record->widthN);
  EXPECT_EQ(2u, clean.record->widthD);
  EXPECT_EQ(3u, clean.record->heightN);
  EXPECT_EQ(4u, clean.record->heightD);
  EXPECT_EQ(5u, clean.record->horizOffN);
  EXPECT_EQ(6u, clean.record->horizOffD);
  EXPECT_EQ(7u, clean.record->vertOffN);
  EXPECT_EQ(8u, clean.record->vertOffD);
  MP4G::CFielBox field;
  ASSERT_OK(ParseBox(field, Box("fiel", {U8(1), U8(2)})));
  EXPECT_EQ(1u, field.record->fieldCount);
  EXPECT_EQ(2u, field.record->fieldDetail);
}

const Bytes kTwoReferences = Join({U16(1), U16(2), U16(0xFC02), U16(3), U16(4)});

TEST(ViewEntry, ReadsItsReferences) {
  CViewEntry entry;
  unsigned int left = 0;
  EXPECT_OK(ReadEntry(entry, Join({kTwoReferences, Zeros(3)}), &left));
  EXPECT_EQ(3u, left);
  EXPECT_EQ(1u, entry.record->viewId);
  EXPECT_EQ(2u, entry.record->viewOrderIndex);
  EXPECT_EQ(0xFC02u, entry.record->refViewCount);
  ASSERT_EQ(2u, entry.refViewIds.size());
  EXPECT_EQ(3u, entry.refViewIds[0]);
  EXPECT_EQ(4u, entry.refViewIds[1]);
  Bytes written;
  EXPECT_OK(WriteEntry(entry, 10, &written));
  EXPECT_EQ(kTwoReferences, written);
}

TEST(ViewEntry, LeavesToTheNextOneWhatItsCountDoesNotName) {
  CViewEntry entry;
  unsigned int left = 0;
  EXPECT_OK(ReadEntry(entry, Join({U16(1), U16(2), U16(0xFC00), U16(3)}), &left));
  EXPECT_EQ(2u, left);
  EXPECT_TRUE(entry.refViewIds.empty());
}

TEST(ViewEntry, KeepsTheReferencesThatAreThere) {
  const std::pair<unsigned int, unsigned int> cuts[] = {{5, 5}, {6, 0}, {7, 1}, {8, 0}, {9, 1}};
  for (const auto& [length, rest] : cuts) {
    CViewEntry entry;
    unsigned int left = 0;
    EXPECT_RESULT(S_FALSE, ReadEntry(entry, Cut(kTwoReferences, length), &left));
    EXPECT_EQ(rest, left) << length;
    EXPECT_EQ(length < 8 ? 0u : 1u, entry.refViewIds.size()) << length;
  }
}

TEST(ViewEntry, IsMeasuredAndWrittenByItsListAndNotByItsCount) {
  CViewEntry entry;
  long long total = -1;
  EXPECT_OK(entry.GetDataSize(&total));
  EXPECT_EQ(6, total);
  EXPECT_RESULT(E_POINTER, entry.GetDataSize(nullptr));
  QUIRVA::be16 id;
  id = 7;
  entry.refViewIds.assign(2, id);
  EXPECT_OK(entry.GetDataSize(&total));
  EXPECT_EQ(10, total);
  Bytes written;
  EXPECT_OK(WriteEntry(entry, 10, &written));
  EXPECT_EQ(Join({Zeros(6), U16(7), U16(7)}), written);
  const std::pair<unsigned int, unsigned int> rooms[] = {{5, 0}, {6, 6}, {7, 6}, {9, 8}};
  for (const auto& [room, expected] : rooms) {
    EXPECT_RESULT(S_FALSE, WriteEntry(entry, room, &written));
    EXPECT_EQ(expected, written.size()) << room;
  }
}

TEST(ViewEntry, ResetForgetsEverything) {
  CViewEntry entry;
  unsigned int left = 0;
  ASSERT_OK(ReadEntry(entry, kTwoReferences, &left));
  entry.Reset();
  EXPECT_EQ(0u, entry.record->viewId);
  EXPECT_EQ(0u, entry.record->viewOrderIndex);
  EXPECT_EQ(0u, entry.record->refViewCount);
  EXPECT_TRUE(entry.refViewIds.empty());
}

TEST(ViewIdentifierBox, ReadsItsViews) {
  CViewIdentifierBox box;
  const Bytes bytes =
      FullBox("vwid", 1, 2, {U8(0x3F), U16(2), kTwoReferences, U16(5), U16(6), U16(0)});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0x3Fu, box.record->temporalIds);
  EXPECT_EQ(2u, box.record->numViews);
  ASSERT_EQ(2u, box.entries.size());
  EXPECT_EQ(2u, box.entries.front()->refViewIds.size());
  EXPECT_EQ(5u, box.entries.back()->record->viewId);
  EXPECT_EQ(12 + 3 + 10 + 6, SizeOf(box));
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(ViewIdentifierBox, OfNoViewsReadsNothingElse) {
  CViewIdentifierBox box;
  ASSERT_OK(ParseBox(box, FullBox("vwid", 0, 0, {U8(1), U16(0), Fill(6, 9)})));
  EXPECT_TRUE(box.entries.empty());
  EXPECT_EQ(6u, box.restSize);
}

TEST(ViewIdentifierBox, NeedsItsRecord) {
  CViewIdentifierBox box;
  unsigned int left = 0;
  const Bytes bytes = FullBox("vwid", 0, 0, {U8(1), U16(0)});
  EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(bytes, 14), &left));
  EXPECT_EQ(2u, left);
  ASSERT_OK(ParseBox(box, bytes));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 14, &written));
  EXPECT_EQ(12u, written.size());
}

TEST(ViewIdentifierBox, KeepsTheHalfReadEntry) {
  CViewIdentifierBox box;
  const Bytes bytes = FullBox("vwid", 0, 0, {U8(0), U16(2), U16(1), U16(2)});
  EXPECT_RESULT(S_FALSE, ParseBox(box, bytes));
  EXPECT_EQ(1u, box.entries.size());
}

TEST(ViewIdentifierBox, DoesNotCountItsEntriesAnew) {
  CViewIdentifierBox box;
  box.SetClassType(FourCc("vwid"));
  box.entries.push_back(new CViewEntry);
  EXPECT_EQ(FullBox("vwid", 0, 0, {U8(0), U16(0), Zeros(6)}), FixAndWrite(box));
}

TEST(ViewIdentifierBox, RefusesAnEntryThatIsNull) {
  CViewIdentifierBox box;
  ASSERT_OK(ParseBox(box, FullBox("vwid", 0, 0, {U8(0), U16(1), Zeros(6)})));
  box.entries.push_back(nullptr);
  long long total = 0;
  EXPECT_RESULT(E_POINTER, box.GetDataSize(&total));
  Bytes written;
  EXPECT_RESULT(E_POINTER, WriteBox(box, 100, &written));
  EXPECT_EQ(21u, written.size());
}

TEST(ViewIdentifierBox, ResetDeletesItsEntries) {
  CViewIdentifierBox box;
  ASSERT_OK(ParseBox(box, FullBox("vwid", 0, 0, {U8(5), U16(1), Zeros(6)})));
  box.entries.push_back(nullptr);
  box.Reset();
  EXPECT_TRUE(box.entries.empty());
  EXPECT_EQ(0u, box.record->temporalIds);
  EXPECT_EQ(0u, box.record->numViews);
}

}  // namespace
