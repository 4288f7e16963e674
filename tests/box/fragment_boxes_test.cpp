#include "box/fragment_boxes.h"

#include <array>

#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CListBox;
using MP4G::CMovieExtendsBox;
using MP4G::CMovieExtendsHeaderBox;
using MP4G::CMovieFragmentBox;
using MP4G::CMovieFragmentHeaderBox;
using MP4G::CMovieFragmentRandomAccessBox;
using MP4G::CMovieFragmentRandomAccessOffsetBox;
using MP4G::CTrackExtendsBox;
using MP4G::CTrackFragmentBox;
using MP4G::CTrackFragmentHeaderBox;
using MP4G::CTrackFragmentRandomAccessBox;
using MP4G::CTrackRunBox;
using support::Box;
using support::Bytes;
using support::ExpectNeedsEveryByte;
using support::Fill;
using support::FixAndWrite;
using support::FullBox;
using support::MakeBox;
using support::operator+;
using support::ParseBox;
using support::SizeOf;
using support::U32;
using support::U64;
using support::WriteBox;
using support::Zeros;

TEST(FragmentBoxes, FactoryMakesEachOfThem) {
  EXPECT_NE(nullptr, dynamic_cast<CMovieExtendsBox*>(MakeBox("mvex").get()));
  EXPECT_NE(nullptr, dynamic_cast<CListBox*>(MakeBox("mvex").get()));
  EXPECT_NE(nullptr, dynamic_cast<CMovieExtendsHeaderBox*>(MakeBox("mehd").get()));
  EXPECT_NE(nullptr, dynamic_cast<CTrackExtendsBox*>(MakeBox("trex").get()));
  EXPECT_NE(nullptr, dynamic_cast<CMovieFragmentBox*>(MakeBox("moof").get()));
  EXPECT_NE(nullptr, dynamic_cast<CMovieFragmentHeaderBox*>(MakeBox("mfhd").get()));
  EXPECT_NE(nullptr, dynamic_cast<CTrackFragmentBox*>(MakeBox("traf").get()));
  EXPECT_NE(nullptr, dynamic_cast<CTrackFragmentHeaderBox*>(MakeBox("tfhd").get()));
  EXPECT_NE(nullptr, dynamic_cast<CTrackRunBox*>(MakeBox("trun").get()));
  EXPECT_NE(nullptr, dynamic_cast<CMovieFragmentRandomAccessBox*>(MakeBox("mfra").get()));
  EXPECT_NE(nullptr, dynamic_cast<CTrackFragmentRandomAccessBox*>(MakeBox("tfra").get()));
  EXPECT_NE(nullptr, dynamic_cast<CMovieFragmentRandomAccessOffsetBox*>(MakeBox("mfro").get()));
}

TEST(FragmentBoxes, MovieExtendsParsesItsChildren) {
  const Bytes bytes =
      Box("mvex", {FullBox("mehd", 0, 0, {U32(9000)}),
                   FullBox("trex", 0, 0, {U32(2), U32(1), U32(3), U32(4), U32(5)})});
  CMovieExtendsBox box;
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_EQ(2u, box.GetChildBoxNum(0));
  const auto* trex = dynamic_cast<CTrackExtendsBox*>(box.GetChildBox(FourCc("trex"), 0));
  ASSERT_NE(nullptr, trex);
  EXPECT_EQ(2u, trex->record->trackId);
  EXPECT_EQ(1u, trex->record->defaultSampleDescriptionIndex);
  EXPECT_EQ(3u, trex->record->defaultSampleDuration);
  EXPECT_EQ(4u, trex->record->defaultSampleSize);
  EXPECT_EQ(5u, trex->record->defaultSampleFlags);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(FragmentBoxes, ContainersOfFragmentsKeepTheHeaderAloneAndWriteZerosForTheRest) {
  for (const char* type : {"moof", "traf", "mfra"}) {
    SCOPED_TRACE(type);
    const Bytes bytes = Box(type, {FullBox("mfhd", 0, 0, {U32(7)}), Fill(5, 0xAB)});
    const auto box = MakeBox(type);
    unsigned int left = 1;
    ASSERT_OK(ParseBox(*box, bytes, &left));
    EXPECT_EQ(0u, left);
    EXPECT_EQ(0u, box->GetChildBoxNum(0));
    EXPECT_EQ(21u, box->restSize);
    EXPECT_EQ(Box(type, {Zeros(21)}), FixAndWrite(*box));
  }
}

TEST(MovieExtendsHeaderBox, ReadsAndWritesTheNarrowFormForEveryVersionButOne) {
  for (const int version : {0, 2, 255}) {
    SCOPED_TRACE(version);
    const Bytes bytes = FullBox("mehd", static_cast<std::uint8_t>(version), 0x010203, {U32(90000)});
    CMovieExtendsHeaderBox box;
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(90000u, box.fragmentDuration);
    Bytes written;
    EXPECT_OK(WriteBox(box, bytes.size(), &written));
    EXPECT_EQ(bytes, written);
  }
  ExpectNeedsEveryByte(FullBox("mehd", 0, 0, {U32(1)}));
}

TEST(MovieExtendsHeaderBox, ReadsAndWritesTheWideFormForVersionOne) {
  const Bytes bytes = FullBox("mehd", 1, 0, {U64(0x0102030405060708)});
  CMovieExtendsHeaderBox box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0x0102030405060708u, box.fragmentDuration);
  EXPECT_EQ(bytes, FixAndWrite(box));
  ExpectNeedsEveryByte(bytes);
}

TEST(MovieExtendsHeaderBox, FixParamLowersTheVersionOfADurationOf32Bits) {
  CMovieExtendsHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mehd", 1, 0, {U64(0xFFFFFFFF)})));
  EXPECT_EQ(20, SizeOf(box));
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0u, box.fullHeader->version);
  EXPECT_EQ(16, SizeOf(box));
  EXPECT_EQ(FullBox("mehd", 0, 0, {U32(0xFFFFFFFF)}), FixAndWrite(box));
}

TEST(MovieExtendsHeaderBox, FixParamRaisesTheVersionOfADurationBeyond32Bits) {
  CMovieExtendsHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mehd", 0, 0, {U32(1)})));
  box.fragmentDuration = 0x100000000;
  EXPECT_EQ(FullBox("mehd", 1, 0, {U64(0x100000000)}), FixAndWrite(box));
}

TEST(MovieExtendsHeaderBox, ResetClearsDurationVersionAndFlags) {
  CMovieExtendsHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mehd", 1, 5, {U64(7)})));
  box.Reset();
  EXPECT_EQ(0u, box.fragmentDuration);
  EXPECT_EQ(0u, box.fullHeader->version);
  EXPECT_EQ(0u, box.fullHeader->flags);
}

TEST(TrackExtendsBox, GivesItsRecordBackAsItStands) {
  ExpectNeedsEveryByte(FullBox(
      "trex", 3, 0xABCDEF,
      {U32(0x01020304), U32(0x05060708), U32(0x090A0B0C), U32(0x0D0E0F10), U32(0x11121314)}));
}

TEST(MovieFragmentHeaderBox, GivesItsRecordBackAsItStands) {
  const Bytes bytes = FullBox("mfhd", 0, 0, {U32(0x01020304)});
  CMovieFragmentHeaderBox box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0x01020304u, box.record->sequenceNumber);
  ExpectNeedsEveryByte(bytes);
}

TEST(MovieFragmentRandomAccessOffsetBox, GivesItsRecordBackAsItStands) {
  const Bytes bytes = FullBox("mfro", 0, 0, {U32(0x01020304)});
  CMovieFragmentRandomAccessOffsetBox box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0x01020304u, box.record->mfraSize);
  ExpectNeedsEveryByte(bytes);
}

TEST(FragmentBoxes, RecordsAreZeroAfterReset) {
  CTrackExtendsBox trex;
  ASSERT_OK(ParseBox(trex, FullBox("trex", 1, 1, {Fill(20, 0xFF)})));
  trex.Reset();
  EXPECT_EQ(0u, trex.record->trackId | trex.record->defaultSampleDescriptionIndex |
                    trex.record->defaultSampleDuration | trex.record->defaultSampleSize |
                    trex.record->defaultSampleFlags | trex.fullHeader->flags);
  CMovieFragmentHeaderBox mfhd;
  ASSERT_OK(ParseBox(mfhd, FullBox("mfhd", 1, 1, {Fill(4, 0xFF)})));
  mfhd.Reset();
  EXPECT_EQ(0u, mfhd.record->sequenceNumber);
  CMovieFragmentRandomAccessOffsetBox mfro;
  ASSERT_OK(ParseBox(mfro, FullBox("mfro", 1, 1, {Fill(4, 0xFF)})));
  mfro.Reset();
  EXPECT_EQ(0u, mfro.record->mfraSize);
  CTrackFragmentHeaderBox tfhd;
  ASSERT_OK(ParseBox(tfhd, FullBox("tfhd", 1, 0x3B, {Fill(28, 0xFF)})));
  tfhd.Reset();
  EXPECT_EQ(0u, tfhd.record->trackId | tfhd.record->sampleDescriptionIndex |
                    tfhd.record->defaultSampleDuration | tfhd.record->defaultSampleSize |
                    tfhd.record->defaultSampleFlags | tfhd.fullHeader->flags);
  EXPECT_EQ(0u, tfhd.record->BaseDataOffset());
  CTrackRunBox trun;
  ASSERT_OK(ParseBox(trun, FullBox("trun", 1, 5, {Fill(12, 0xFF)})));
  trun.Reset();
  EXPECT_EQ(0u, trun.record->sampleCount | trun.record->dataOffset | trun.record->firstSampleFlags |
                    trun.fullHeader->flags);
  EXPECT_EQ(0u, trun.sampleEntries);
}

// Each optional field of "tfhd": its flag, and the bytes that stand for it.
struct OptionalField {
  unsigned int flag;
  Bytes bytes;
};

const std::array<OptionalField, 5>& HeaderFields() {
  static const std::array<OptionalField, 5> fields = {{{0x01, U64(0x0102030405060708)},
                                                       {0x02, U32(0x11121314)},
                                                       {0x08, U32(0x21222324)},
                                                       {0x10, U32(0x31323334)},
                                                       {0x20, U32(0x41424344)}}};
  return fields;
}

TEST(TrackFragmentHeaderBox, ReadsExactlyTheFieldsThatItsFlagsName) {
  for (unsigned int combination = 0; combination < 32; ++combination) {
    SCOPED_TRACE(combination);
    unsigned int flags = 0;
    Bytes body = U32(0xA1A2A3A4);
    for (unsigned int i = 0; i < 5; ++i) {
      if ((combination >> i & 1) == 0) continue;
      flags |= HeaderFields()[i].flag;
      body = body + HeaderFields()[i].bytes;
    }
    const Bytes bytes = FullBox("tfhd", 0, flags, {body});
    CTrackFragmentHeaderBox box;
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(0u, box.restSize);
    EXPECT_EQ(0xA1A2A3A4u, box.record->trackId);
    EXPECT_EQ(flags & 0x01 ? 0x0102030405060708u : 0u, box.record->BaseDataOffset());
    EXPECT_EQ(flags & 0x02 ? 0x11121314u : 0u, box.record->sampleDescriptionIndex);
    EXPECT_EQ(flags & 0x08 ? 0x21222324u : 0u, box.record->defaultSampleDuration);
    EXPECT_EQ(flags & 0x10 ? 0x31323334u : 0u, box.record->defaultSampleSize);
    EXPECT_EQ(flags & 0x20 ? 0x41424344u : 0u, box.record->defaultSampleFlags);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
    EXPECT_EQ(bytes, FixAndWrite(box));
    ExpectNeedsEveryByte(bytes);
  }
}

TEST(TrackFragmentHeaderBox, FieldsOfOtherFlagsAreNotThere) {
  CTrackFragmentHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("tfhd", 0, 0xFFFFC4, {U32(1), Fill(4, 0xAB)})));
  EXPECT_EQ(4u, box.restSize);
}

TEST(TrackFragmentHeaderBox, FixParamRebuildsTheFlagsFromTheValues) {
  CTrackFragmentHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("tfhd", 0, 0x1B, {U32(1), U64(0), U32(0), U32(0), U32(0)})));
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0u, box.fullHeader->flags);
  box.record->baseDataOffset = 1;
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0x01u, box.fullHeader->flags);
  box.record->sampleDescriptionIndex = 1;
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0x03u, box.fullHeader->flags);
  box.record->defaultSampleDuration = 1;
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0x0Bu, box.fullHeader->flags);
  box.record->defaultSampleSize = 1;
  EXPECT_EQ(FullBox("tfhd", 0, 0x1B, {U32(1), U64(1), U32(1), U32(1), U32(1)}), FixAndWrite(box));
  box.record->defaultSampleFlags = 1;
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0x1Bu, box.fullHeader->flags) << "the default sample flags have no part in it";
}

TEST(TrackFragmentHeaderBox, FixParamKeepsTheDefaultSampleFlagsBit) {
  CTrackFragmentHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("tfhd", 0, 0x20, {U32(1), U32(0)})));
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0x20u, box.fullHeader->flags);
}

TEST(TrackFragmentHeaderBox, FixParamClearsTheHighBytesOfTheFlags) {
  CTrackFragmentHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("tfhd", 0, 0x010000, {U32(1)})));
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0u, box.fullHeader->flags);
  ASSERT_OK(ParseBox(box, FullBox("tfhd", 0, 0xFFFFC4, {U32(1)})));
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0u, box.fullHeader->flags);
}

// One flag with its query and its setter.
template <class Class>
struct Flag {
  unsigned int bit;
  unsigned int (Class::*query)() const;
  void (Class::*set)(signed char);
  bool answers;  // whether the query looks at the flags
};

template <class Class>
void ExpectFlag(const Flag<Class>& flag) {
  SCOPED_TRACE(flag.bit);
  Class box;
  EXPECT_EQ(0u, (box.*flag.query)());
  (box.*flag.set)(1);
  EXPECT_EQ(flag.bit, box.fullHeader->flags);
  EXPECT_EQ(flag.answers ? flag.bit : 0u, (box.*flag.query)());
  (box.*flag.set)(1);
  EXPECT_EQ(flag.bit, box.fullHeader->flags) << "1 sets and never toggles";
  (box.*flag.set)(0);
  EXPECT_EQ(0u, box.fullHeader->flags);
  (box.*flag.set)(0);
  EXPECT_EQ(flag.bit, box.fullHeader->flags) << "0 toggles a clear bit too";
  (box.*flag.set)(2);
  EXPECT_EQ(0u, box.fullHeader->flags);
  (box.*flag.set)(-1);
  EXPECT_EQ(flag.bit, box.fullHeader->flags);
  box.fullHeader->flags = 0xFFFFFF & ~flag.bit;
  EXPECT_EQ(0u, (box.*flag.query)());
  (box.*flag.set)(1);
  EXPECT_EQ(0xFFFFFFu, box.fullHeader->flags);
  EXPECT_EQ(flag.answers ? flag.bit : 0u, (box.*flag.query)());
}

TEST(TrackFragmentHeaderBox, EachFlagHasItsQueryAndItsTogglingSetter) {
  using B = CTrackFragmentHeaderBox;
  ExpectFlag<B>({0x01, &B::BaseDataOffsetPresent, &B::SetBaseDataOffsetPresentFlag, true});
  ExpectFlag<B>(
      {0x02, &B::SampleDescriptionIndexPresent, &B::SetSampleDescriptionIndexPresentFlag, true});
  ExpectFlag<B>(
      {0x08, &B::DefaultSampleDurationPresent, &B::SetDefaultSampleDurationPresentFlag, true});
  ExpectFlag<B>({0x10, &B::DefaultSampleSizePresent, &B::SetDefaultSampleSizePresentFlag, true});
  ExpectFlag<B>({0x20, &B::DefaultSampleFlagsPresent, &B::SetDefaultSampleFlagsPresentFlag, true});
  ExpectFlag<B>({0x010000, &B::DurationIsEmpty, &B::SetDurationIsEmptyFlag, false});
}

TEST(TrackRunBox, EachFlagHasItsQueryAndItsTogglingSetter) {
  using B = CTrackRunBox;
  ExpectFlag<B>({0x01, &B::DataOffsetPresent, &B::SetDataOffsetPresentFlag, true});
  ExpectFlag<B>({0x04, &B::FirstSampleFlagsPresent, &B::SetFirstSampleFlagsPresentFlag, true});
  ExpectFlag<B>({0x100, &B::SampleDurationPresent, &B::SetSampleDurationPresentFlag, false});
  ExpectFlag<B>({0x200, &B::SampleSizePresent, &B::SetSampleSizePresentFlag, false});
  ExpectFlag<B>({0x400, &B::SampleFlagsPresent, &B::SetSampleFlagsPresentFlag, false});
  ExpectFlag<B>({0x800, &B::SampleCompositionTimeOffsetsPresent,
                 &B::SetSampleCompositionTimeOffsetsPresentFlag, false});
}

TEST(TrackRunBox, ReadsExactlyTheFieldsThatItsFlagsName) {
  for (const unsigned int flags : {0u, 0x01u, 0x04u, 0x05u, 0x02u, 0xF00u}) {
    SCOPED_TRACE(flags);
    Bytes body = U32(0);
    if ((flags & 0x01) != 0) body = body + U32(0x11121314);
    if ((flags & 0x04) != 0) body = body + U32(0x21222324);
    const Bytes bytes = FullBox("trun", 0, flags, {body});
    CTrackRunBox box;
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(0u, box.restSize);
    EXPECT_EQ(flags & 0x01 ? 0x11121314u : 0u, box.record->dataOffset);
    EXPECT_EQ(flags & 0x04 ? 0x21222324u : 0u, box.record->firstSampleFlags);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
    EXPECT_EQ(bytes, FixAndWrite(box));
    ExpectNeedsEveryByte(bytes);
  }
}

TEST(TrackRunBox, SkipsThePerSampleBytesAndWritesZerosForThem) {
  const Bytes bytes = FullBox("trun", 0, 0x301, {U32(3), U32(0x50), Fill(24, 0xAB)});
  CTrackRunBox box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(3u, box.record->sampleCount);
  EXPECT_EQ(0x50u, box.record->dataOffset);
  EXPECT_EQ(3u, box.sampleEntries);
  EXPECT_EQ(24u, box.restSize);
  EXPECT_EQ(FullBox("trun", 0, 0x301, {U32(3), U32(0x50), Zeros(24)}), FixAndWrite(box));
}

TEST(TrackRunBox, FixParamTakesTheSampleCountFromTheEntries) {
  CTrackRunBox box;
  ASSERT_OK(ParseBox(box, FullBox("trun", 0, 0, {U32(5)})));
  box.record->sampleCount = 77;
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(5u, box.record->sampleCount);
}

TEST(TrackRunBox, SampleCountOfAllOnesTakesNeitherMemoryNorTime) {
  const Bytes bytes = FullBox("trun", 0, 0x300, {U32(0xFFFFFFFF), Fill(8, 0xAB)});
  CTrackRunBox box;
  for (const std::uint64_t parse : {1u, 2u, 3u}) {
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(parse * 0xFFFFFFFF, box.sampleEntries) << "entries are appended";
  }
  box.Reset();
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_OK(box.FixParam());
  EXPECT_EQ(0xFFFFFFFFu, box.record->sampleCount);
  EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
}

}  // namespace
