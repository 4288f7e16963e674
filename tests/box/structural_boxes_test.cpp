#include "box/structural_boxes.h"

#include <gtest/gtest.h>

#include <memory>

#include "box/data_boxes.h"
#include "box/sample_entries.h"
#include "box/top_level_boxes.h"
#include "support/allocation_meter.h"
#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CEditListBox;
using MP4G::CHandlerBox;
using support::Box;
using support::Bytes;
using support::Fill;
using support::FixAndWrite;
using support::FullBox;
using support::Join;
using support::ParseBox;
using support::SizeOf;
using support::Text;
using support::U16;
using support::U32;
using support::U64;
using support::WriteBox;
using support::Zeros;

Bytes Cut(const Bytes& bytes, std::size_t length) { return {bytes.data(), bytes.data() + length}; }

Bytes NarrowEdit(unsigned int duration, unsigned int time) {
  return Join({U32(duration), U32(time), U16(1), U16(2)});
}
Bytes WideEdit(unsigned long long duration, unsigned long long time) {
  return Join({U64(duration), U64(time), U16(1), U16(2)});
}

TEST(Containers, AreClassesOfTheirOwnWithAllTheirChildren) {
  const auto parse = [](const char* type) {
    auto box = support::MakeBox(type);
    const Bytes bytes = Box(type, {Box("zzzz", {Text("abc")}), FullBox("nmhd", 1, 2), Box("yyyy")});
    EXPECT_OK(ParseBox(*box, bytes));
    EXPECT_EQ(bytes, FixAndWrite(*box));
    EXPECT_EQ(3u, box->GetChildBoxNum(0));
    return box;
  };
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CTrackBox*>(parse("trak").get()));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CTrackReferenceBox*>(parse("tref").get()));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CEditBox*>(parse("edts").get()));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CMediaBox*>(parse("mdia").get()));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CMediaInformationBox*>(parse("minf").get()));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CDataInformationBox*>(parse("dinf").get()));
  EXPECT_EQ(nullptr, dynamic_cast<MP4G::CMediaBox*>(parse("minf").get()));
}

TEST(NullMediaHeaderBox, IsVersionAndFlagsAlone) {
  MP4G::CNullMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("nmhd", 3, 4)));
  EXPECT_EQ(12, SizeOf(box));
  EXPECT_EQ(FullBox("nmhd", 3, 4), FixAndWrite(box));
}

TEST(TrackReferenceBox, KeepsAReferenceOfAKindThatNobodyKnows) {
  MP4G::CTrackReferenceBox box;
  const Bytes bytes = Box("tref", {Box("hint", {U32(2), U32(3)})});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CDataMemBox*>(box.GetChildBox(FourCc("hint"), 0)));
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(TrackReferenceBox, TakesATimecodeReferenceForASampleEntry) {
  const Bytes bytes = Box("tref", {Box("tmcd", {U32(2)})});
  MP4G::CTrackReferenceBox atTheEnd;
  EXPECT_RESULT(S_FALSE, ParseBox(atTheEnd, bytes));
  MP4G::CTrackReferenceBox box;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Join({bytes, Zeros(22)})));
  EXPECT_NE(nullptr,
            dynamic_cast<MP4G::CTimecodeSampleDescription*>(box.GetChildBox(FourCc("tmcd"), 0)));
}

TEST(TrackReferenceTypeBox, IdentifierIsTheEndOfTheWholeInput) {
  MP4G::CTrackReferenceTypeBox box;
  unsigned int left = 0;
  const Bytes bytes = Join({Box("hint", {U32(2)}), Text("abcdefg")});
  ASSERT_OK(ParseBox(box, bytes, &left));
  EXPECT_EQ(7u, left);
  EXPECT_EQ(FourCc("defg"), box.trackId);
  EXPECT_EQ(Box("hint", {Text("defg")}), FixAndWrite(box));
  MP4G::CTrackReferenceTypeBox alone;
  ASSERT_OK(ParseBox(alone, Box("hint", {U32(2)})));
  EXPECT_EQ(2u, alone.trackId);
}

TEST(TrackReferenceTypeBox, NeedsFourBytes) {
  const Bytes bytes = Box("hint", {U32(2)});
  MP4G::CTrackReferenceTypeBox box;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(bytes, 11), &left));
  EXPECT_EQ(3u, left);
  EXPECT_EQ(0u, box.trackId);
  ASSERT_OK(ParseBox(box, bytes));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 11, &written));
  EXPECT_EQ(8u, written.size());
  EXPECT_EQ(12, SizeOf(box));
}

TEST(TrackReferenceTypeBox, ResetLeavesItsHeader) {
  MP4G::CTrackReferenceTypeBox box;
  ASSERT_OK(ParseBox(box, Box("hint", {U32(2)})));
  box.Reset();
  EXPECT_EQ(0u, box.trackId);
  EXPECT_EQ(FourCc("hint"), box.header->type);
  EXPECT_EQ(12u, box.header->size);
}

TEST(EditListBox, ReadsBothFormsOfTimes) {
  for (const unsigned int version : {0u, 1u, 2u, 255u}) {
    const Bytes edits = version == 1 ? Join({WideEdit(0x100000005, 7), WideEdit(9, ~0ull)})
                                     : Join({NarrowEdit(5, 7), NarrowEdit(9, 0xFFFFFFFF)});
    const Bytes bytes =
        FullBox("elst", static_cast<std::uint8_t>(version), 0x010203, {U32(2), edits});
    CEditListBox box;
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(2u, box.entryCount);
    ASSERT_EQ(2u, box.entries.size());
    EXPECT_EQ(version == 1 ? 0x100000005u : 5u, box.entries[0].segmentDuration);
    EXPECT_EQ(7, box.entries[0].mediaTime);
    EXPECT_EQ(1u, box.entries[0].rateInteger);
    EXPECT_EQ(2u, box.entries[0].rateFraction);
    EXPECT_EQ(version == 1 ? -1 : 4294967295, box.entries[1].mediaTime);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
    EXPECT_EQ(bytes, FixAndWrite(box));
  }
}

TEST(EditListBox, OfNoEntriesReadsNothingElse) {
  CEditListBox box;
  unsigned int left = 0;
  ASSERT_OK(ParseBox(box, Join({FullBox("elst", 0, 0, {U32(0)}), Zeros(12)}), &left));
  EXPECT_EQ(12u, left);
  EXPECT_TRUE(box.entries.empty());
}

TEST(EditListBox, TakesAnEntryPieceByPiece) {
  for (const unsigned int version : {0u, 1u}) {
    const unsigned int times = version == 1 ? 16 : 8;
    const Bytes edit = version == 1 ? WideEdit(1, 2) : NarrowEdit(1, 2);
    const Bytes bytes =
        FullBox("elst", static_cast<std::uint8_t>(version), 0, {U32(2), edit, edit});
    for (unsigned int body = 0; body < 2 * times + 8; ++body) {
      CEditListBox box;
      unsigned int left = 0;
      EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(bytes, 16 + body), &left));
      const unsigned int part = body % (times + 4);
      EXPECT_EQ(body / (times + 4), box.entries.size()) << body;
      EXPECT_EQ(part < times ? part : part - times, left) << body;
      EXPECT_EQ(2u, box.entryCount);
    }
  }
}

TEST(EditListBox, NeedsItsCount) {
  CEditListBox box;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(FullBox("elst", 0, 0, {U32(0)}), 15), &left));
  EXPECT_EQ(3u, left);
}

TEST(EditListBox, AllocatesForTheBytesAndNotForTheCount) {
  const Bytes bytes = FullBox("elst", 0, 0, {U32(0xFFFFFFFF), NarrowEdit(1, 2)});
  CEditListBox box;
  const support::AllocationMeter meter;
  EXPECT_RESULT(S_FALSE, ParseBox(box, bytes));
  EXPECT_EQ(1u, box.entries.size());
  EXPECT_LT(meter.Peak(), 1000u);
}

TEST(EditListBox, DropsWhatItsCountDoesNotName) {
  CEditListBox box;
  ASSERT_OK(ParseBox(box, FullBox("elst", 0, 0, {U32(1), NarrowEdit(1, 2), NarrowEdit(3, 4)})));
  EXPECT_EQ(1u, box.entries.size());
  EXPECT_EQ(FullBox("elst", 0, 0, {U32(1), NarrowEdit(1, 2), Zeros(12)}), FixAndWrite(box));
}

TEST(EditListBox, CutsWideTimesInTheNarrowForm) {
  CEditListBox box;
  box.SetClassType(FourCc("elst"));
  box.entries.push_back({0x100000005, -1, 1, 2});
  EXPECT_EQ(FullBox("elst", 0, 0, {U32(1), NarrowEdit(5, 0xFFFFFFFF)}), FixAndWrite(box));
  EXPECT_EQ(1u, box.entryCount);
  box.fullHeader->version = 1;
  EXPECT_EQ(FullBox("elst", 1, 0, {U32(1), WideEdit(0x100000005, ~0ull)}), FixAndWrite(box));
}

TEST(EditListBox, WritesItsCountAsStored) {
  CEditListBox box;
  ASSERT_OK(ParseBox(box, FullBox("elst", 0, 0, {U32(2), NarrowEdit(1, 2), NarrowEdit(3, 4)})));
  box.entries.pop_back();
  Bytes written;
  EXPECT_OK(WriteBox(box, 28, &written));
  EXPECT_EQ(support::WithU32(FullBox("elst", 0, 0, {U32(2), NarrowEdit(1, 2)}), 0, 40), written);
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(1u, box.entryCount);
}

TEST(EditListBox, WritesAnEntryPieceByPiece) {
  CEditListBox box;
  ASSERT_OK(ParseBox(box, FullBox("elst", 0, 0, {U32(1), NarrowEdit(1, 2)})));
  Bytes written;
  for (const auto& [room, expected] : {std::pair{15, 12}, {16, 16}, {23, 16}, {24, 24}, {27, 24}}) {
    EXPECT_RESULT(S_FALSE, WriteBox(box, static_cast<std::size_t>(room), &written));
    EXPECT_EQ(static_cast<std::size_t>(expected), written.size()) << room;
  }
}

TEST(EditListBox, ResetEmptiesTheList) {
  CEditListBox box;
  ASSERT_OK(ParseBox(box, FullBox("elst", 1, 0, {U32(1), WideEdit(1, 2)})));
  box.Reset();
  EXPECT_TRUE(box.entries.empty());
  EXPECT_EQ(0u, box.fullHeader->version);
}

const Bytes kHandlerRecord = Join({U32(7), Text("vide"), Fill(12, 0x55)});

TEST(HandlerBox, TakesItsNameAsItStands) {
  for (const Bytes& name : {Bytes{}, Text("Video"), Bytes{'a', 0, 'b', 0, 0}, Bytes{0xFF, 0xFE}}) {
    CHandlerBox box;
    ASSERT_OK(box.Init());
    const Bytes bytes = FullBox("hdlr", 1, 2, {kHandlerRecord, name});
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(7u, box.record->preDefined);
    EXPECT_EQ(FourCc("vide"), box.record->handlerType);
    EXPECT_EQ(0x55555555u, box.record->reserved[2]);
    EXPECT_EQ(std::string(name.begin(), name.end()), box.name);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
    EXPECT_EQ(bytes, FixAndWrite(box));
  }
}

TEST(HandlerBox, IsNamedWhenNotReadFromAFile) {
  CHandlerBox plain;
  EXPECT_EQ("", plain.name);
  const auto box = support::MakeBox("hdlr");
  EXPECT_EQ(FullBox("hdlr", 0, 0, {Zeros(20), Text("Qvr")}), FixAndWrite(*box));
  EXPECT_EQ(12 + 23, SizeOf(*box));
}

TEST(HandlerBox, ResetKeepsTheNameAndInitGivesIt) {
  CHandlerBox box;
  ASSERT_OK(ParseBox(box, FullBox("hdlr", 1, 2, {kHandlerRecord, Text("Video")})));
  box.Reset();
  EXPECT_EQ("Video", box.name);
  EXPECT_EQ(0u, box.record->handlerType);
  EXPECT_EQ(0u, box.record->preDefined);
  EXPECT_EQ(0u, box.record->reserved[0]);
  EXPECT_EQ(0u, box.fullHeader->version);
  ASSERT_OK(box.Init());
  EXPECT_EQ("Qvr", box.name);
}

TEST(HandlerBox, NeedsItsRecordAndItsWholeName) {
  const Bytes bytes = FullBox("hdlr", 0, 0, {kHandlerRecord, Text("Video")});
  CHandlerBox noRecord;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(noRecord, Cut(bytes, 31), &left));
  EXPECT_EQ(19u, left);
  CHandlerBox noName;
  ASSERT_OK(noName.Init());
  EXPECT_RESULT(S_FALSE, ParseBox(noName, Cut(bytes, 36), &left));
  EXPECT_EQ(4u, left);
  EXPECT_EQ("Qvr", noName.name);
  EXPECT_EQ(FourCc("vide"), noName.record->handlerType);
}

TEST(HandlerBox, NeedsASizeOf32Bits) {
  const auto read = [](unsigned int size, unsigned long long large) {
    CHandlerBox box;
    const Bytes bytes = Join({U32(size), Text("hdlr"), U64(large), U32(0), kHandlerRecord});
    const unsigned char* in = bytes.data();
    unsigned int rest = static_cast<unsigned int>(bytes.size());
    return box.SetDataImpl(in, rest);
  };
  EXPECT_OK(read(1, 40));
  EXPECT_RESULT(E_BAD_DATA, read(1, 39));
  EXPECT_RESULT(E_PENDING, read(1, 0x100000000));
  EXPECT_RESULT(E_BAD_DATA, read(0, 0));
}

TEST(HandlerBox, IsWrittenWholeOrNotAtAll) {
  CHandlerBox box;
  ASSERT_OK(ParseBox(box, FullBox("hdlr", 0, 0, {kHandlerRecord, Text("Video")})));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 36, &written));
  EXPECT_EQ(12u, written.size());
}

TEST(DataReferenceBox, CountsItsChildrenAnew) {
  const Bytes url = FullBox("url ", 0, 1);
  MP4G::CDataReferenceBox box;
  ASSERT_OK(ParseBox(box, FullBox("dref", 1, 2, {U32(9), url, url, Text("abc")})));
  EXPECT_EQ(9u, box.entryCount);
  EXPECT_EQ(2u, box.GetChildBoxNum(FourCc("url ")));
  EXPECT_EQ(16 + 24 + 3, SizeOf(box));
  EXPECT_EQ(FullBox("dref", 1, 2, {U32(2), url, url, Zeros(3)}), FixAndWrite(box));
  box.children.push_back(nullptr);
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(3u, box.entryCount);
  box.Reset();
  EXPECT_EQ(0u, box.entryCount);
  EXPECT_TRUE(box.children.empty());
}

TEST(DataReferenceBox, NeedsItsCountAndWholeEntries) {
  const Bytes bytes = FullBox("dref", 0, 0, {U32(1), FullBox("url ", 0, 1)});
  MP4G::CDataReferenceBox noCount;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(noCount, Cut(bytes, 15), &left));
  EXPECT_EQ(3u, left);
  MP4G::CDataReferenceBox cutEntry;
  EXPECT_RESULT(S_FALSE, ParseBox(cutEntry, Cut(bytes, 27)));
  EXPECT_EQ(1u, cutEntry.GetChildBoxNum(0));
  MP4G::CDataReferenceBox none;
  EXPECT_OK(ParseBox(none, FullBox("dref", 0, 0, {U32(1)})));
  EXPECT_EQ(1u, none.entryCount);
}

TEST(DataEntryUrlBox, KeepsItsLocationAsItStands) {
  for (const Bytes& location : {Bytes{}, Text("a.mp4"), Bytes{'a', 0, 'b', 0}}) {
    MP4G::CDataEntryUrlBox box;
    const Bytes bytes = FullBox("url ", 3, 0, {location});
    unsigned int left = 0;
    ASSERT_OK(ParseBox(box, Join({bytes, Zeros(5)}), &left));
    EXPECT_EQ(5u, left);
    EXPECT_EQ(std::string(location.begin(), location.end()), box.location);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
    EXPECT_EQ(bytes, FixAndWrite(box));
    box.Reset();
    EXPECT_EQ("", box.location);
  }
}

TEST(DataEntryUrlBox, NeedsItsWholeLocation) {
  MP4G::CDataEntryUrlBox box;
  const Bytes bytes = FullBox("url ", 0, 0, {Text("abc")});
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(bytes, 14), &left));
  EXPECT_EQ(2u, left);
  EXPECT_EQ("", box.location);
  ASSERT_OK(ParseBox(box, bytes));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 14, &written));
  EXPECT_EQ(12u, written.size());
}

TEST(DataEntryUrnBox, TakesEverythingUpToTheEndOfTheBuffer) {
  for (const Bytes& body : {Bytes{}, Text("ab")}) {
    MP4G::CDataEntryUrnBox box;
    unsigned int left = 0;
    ASSERT_OK(ParseBox(box, Join({FullBox("urn ", 0, 0, {body}), Text("cdef")}), &left));
    EXPECT_EQ(4u, left);
    EXPECT_EQ(std::string(body.begin(), body.end()) + "cdef", box.name);
    EXPECT_EQ("", box.location);
    EXPECT_EQ(FullBox("urn ", 0, 0, {body, Text("cdef")}), FixAndWrite(box));
  }
}

TEST(DataEntryUrnBox, KeepsItsLengthWhereNothingFollows) {
  MP4G::CDataEntryUrnBox box;
  const Bytes bytes = FullBox("urn ", 0, 0, {Bytes{'a', 0, 'b', 0}});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(DataEntryUrnBox, WritesNameAndLocationTogetherOrNotAtAll) {
  MP4G::CDataEntryUrnBox box;
  box.SetClassType(FourCc("urn "));
  box.name = "ab";
  box.location = "cde";
  EXPECT_EQ(FullBox("urn ", 0, 0, {Text("abcde")}), FixAndWrite(box));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 16, &written));
  EXPECT_EQ(12u, written.size());
  box.Reset();
  EXPECT_EQ("", box.name);
  EXPECT_EQ("", box.location);
}

TEST(DataEntryUrnBox, NeedsItsWholeBody) {
  MP4G::CDataEntryUrnBox box;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(FullBox("urn ", 0, 0, {Text("abc")}), 14), &left));
  EXPECT_EQ(2u, left);
  EXPECT_EQ("", box.name);
}

// A "dref" of as many names, each of which takes all that follows it in the buffer.
Bytes ManyNames(unsigned int count, std::size_t behind) {
  Bytes names;
  for (unsigned int i = 0; i < count; ++i) {
    const Bytes name = FullBox("urn ", 0, 0);
    names.insert(names.end(), name.begin(), name.end());
  }
  Bytes bytes = FullBox("dref", 0, 0, {U32(count), names});
  bytes.resize(bytes.size() + behind);
  return bytes;
}

TEST(DataEntryUrnBox, NamesOfOneTreeTake64MiBInSum) {
  // The first name has the 12 bytes of the second box too.
  constexpr std::size_t kFits = MP4G::kMostExtraMemory / 2 - 6;
  MP4G::CDataReferenceBox box;
  EXPECT_OK(ParseBox(box, ManyNames(2, kFits)));
  MP4G::CDataReferenceBox refused;
  EXPECT_RESULT(E_OUTOFMEMORY, ParseBox(refused, ManyNames(2, kFits + 1)));
  EXPECT_EQ(2u, refused.GetChildBoxNum(0));
  refused.Reset();
  EXPECT_OK(ParseBox(refused, ManyNames(2, kFits)));
}

TEST(DataEntryUrnBox, ANameThatReplacesAnotherCountsInItsPlace) {
  const Bytes bytes = ManyNames(1, MP4G::kMostExtraMemory / 2 + 1);
  const Bytes urn = support::Slice(bytes, support::FindBox(bytes, "urn "), bytes.size());
  MP4G::CDataEntryUrnBox box;
  EXPECT_OK(ParseBox(box, urn));
  EXPECT_OK(ParseBox(box, urn));
}

TEST(DataEntryUrnBox, AnotherRootOfTheSameFileCountsOn) {
  const Bytes bytes = ManyNames(1, MP4G::kMostExtraMemory / 2 + 1);
  MP4G::CDataReferenceBox first;
  MP4G::CDataReferenceBox second;
  ASSERT_OK(ParseBox(first, bytes));
  second.ContinueExtraMemory(first);
  EXPECT_RESULT(E_OUTOFMEMORY, ParseBox(second, bytes));
  MP4G::CDataReferenceBox ofAnotherFile;
  EXPECT_OK(ParseBox(ofAnotherFile, bytes));
}

TEST(DataEntryUrnBox, AHundredThousandNamesTakeNoMoreMemoryThanTheBound) {
  MP4G::CDataReferenceBox box;
  const Bytes bytes = ManyNames(100000, 0);
  const support::AllocationMeter meter;
  EXPECT_RESULT(E_OUTOFMEMORY, ParseBox(box, bytes));
  EXPECT_LT(meter.Peak(), MP4G::kMostExtraMemory + (1u << 20));
}

}  // namespace
