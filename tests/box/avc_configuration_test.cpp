#include "box/avc_configuration.h"

#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CAvcConfigurationBox;
using MP4G::CAvcDecoderConfigurationRecord;
using MP4G::CMvcConfigurationBox;
using support::Box;
using support::Bytes;
using support::ExpectNeedsEveryByte;
using support::Fill;
using support::FixAndWrite;
using support::Hex;
using support::Join;
using support::MakeBox;
using support::operator+;
using support::ParseBox;
using support::U16;
using support::U8;
using support::WithU32;
using support::WriteBox;
using support::Zeros;

// A record of that profile, with `sps` and `pps` as the counts and the sets behind them.
Bytes Record(std::uint8_t profile, std::uint8_t spsCount, const Bytes& sps, std::uint8_t ppsCount,
             const Bytes& pps) {
  return Join({U8(1), U8(profile), U8(0x40), U8(0x28), U8(0xFF),
               U8(static_cast<std::uint8_t>(0xE0 | spsCount)), sps, U8(ppsCount), pps});
}

Bytes Set(const Bytes& bytes) { return U16(static_cast<std::uint16_t>(bytes.size())) + bytes; }

// One parameter set of each kind.
Bytes Usual(std::uint8_t profile) {
  return Record(profile, 1, Set(Hex("67 64 00 28")), 1, Set(Hex("68 EE")));
}

HRESULT Parse(CAvcDecoderConfigurationRecord& record, const Bytes& bytes,
              unsigned int* left = nullptr) {
  const unsigned char* in = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  const HRESULT result = record.SetData(in, rest);
  if (left != nullptr) *left = rest;
  return result;
}

HRESULT WriteRecord(const CAvcDecoderConfigurationRecord& record, std::size_t room,
                    Bytes* written = nullptr) {
  const auto block = std::make_unique<unsigned char[]>(room);
  unsigned char* out = block.get();
  unsigned int rest = static_cast<unsigned int>(room);
  const HRESULT result = record.GetData(out, rest);
  if (written != nullptr) written->assign(block.get(), out);
  return result;
}

long long SizeOf(const CAvcDecoderConfigurationRecord& record) {
  long long total = -1;
  EXPECT_OK(record.GetDataSize(&total));
  return total;
}

Bytes Written(const CAvcDecoderConfigurationRecord& record) {
  Bytes bytes;
  EXPECT_OK(WriteRecord(record, static_cast<std::size_t>(SizeOf(record)), &bytes));
  return bytes;
}

TEST(AvcDecoderConfigurationRecord, NewOneHasTheReservedBitsAndVersionOne) {
  CAvcDecoderConfigurationRecord record;
  EXPECT_EQ(Hex("01 00 00 00 FC E0 00"), Written(record));
  record.hasExtension = 1;
  EXPECT_EQ(Hex("01 00 00 00 FC E0 00 FC F8 F8 00"), Written(record));
}

TEST(AvcDecoderConfigurationRecord, ResetEmptiesEverything) {
  CAvcDecoderConfigurationRecord record;
  record.expectedSize = 7;
  ASSERT_OK(Parse(record, Usual(100) + Hex("FF FF FF 01 0002 ABCD")));
  record.Reset();
  EXPECT_EQ(0u, record.expectedSize);
  EXPECT_EQ(0u, record.hasExtension);
  EXPECT_TRUE(record.spsList.empty() && record.ppsList.empty() && record.spsExtList.empty());
  EXPECT_EQ(Hex("01 00 00 00 FC E0 00"), Written(record));
  record.hasExtension = 1;
  EXPECT_EQ(Hex("01 00 00 00 FC E0 00 FC F8 F8 00"), Written(record));
}

TEST(AvcDecoderConfigurationRecord, ReadsARecordWithoutParameterSets) {
  const Bytes bytes = Record(77, 0, {}, 0, {});
  ASSERT_EQ(7u, bytes.size());
  CAvcDecoderConfigurationRecord record;
  record.expectedSize = 7;
  ASSERT_OK(Parse(record, bytes));
  EXPECT_EQ(bytes, Written(record));
}

TEST(AvcDecoderConfigurationRecord, ReadsParameterSetsInOrder) {
  const Bytes bytes = Record(66, 2, Set(Hex("67 01")) + Set(Hex("67 02 03")), 3,
                             Set(Hex("68")) + Set(Hex("68 01")) + Set(Fill(300, 0x68)));
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(Parse(record, bytes));
  ASSERT_EQ(2u, record.spsList.size());
  EXPECT_EQ(Hex("67 01"), record.spsList.front());
  EXPECT_EQ(Hex("67 02 03"), record.spsList.back());
  ASSERT_EQ(3u, record.ppsList.size());
  EXPECT_EQ(Fill(300, 0x68), record.ppsList.back());
  EXPECT_EQ(66u, record.base->profileIndication);
  EXPECT_EQ(0x40u, record.base->profileCompatibility);
  EXPECT_EQ(0x28u, record.base->levelIndication);
  EXPECT_EQ(bytes, Written(record));
}

TEST(AvcDecoderConfigurationRecord, EveryShorterBufferIsTooShort) {
  const Bytes bytes = Usual(100) + Hex("FD F8 F8 01 0002 ABCD");
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    SCOPED_TRACE(length);
    CAvcDecoderConfigurationRecord record;
    record.expectedSize = static_cast<unsigned int>(bytes.size());
    EXPECT_RESULT(S_FALSE, Parse(record, Bytes(bytes.data(), bytes.data() + length)));
  }
  CAvcDecoderConfigurationRecord record;
  record.expectedSize = static_cast<unsigned int>(bytes.size());
  ASSERT_OK(Parse(record, bytes));
  for (std::size_t room = 0; room < bytes.size(); ++room)
    EXPECT_RESULT(S_FALSE, WriteRecord(record, room));
  EXPECT_EQ(bytes, Written(record));
}

TEST(AvcDecoderConfigurationRecord, KeepsWhatItReadBeforeAFailure) {
  const Bytes bytes = Record(66, 2, Set(Hex("67 01")) + U16(9) + Hex("67"), 0, {});
  CAvcDecoderConfigurationRecord record;
  EXPECT_RESULT(S_FALSE, Parse(record, bytes));
  EXPECT_EQ(1u, record.spsList.size());
}

TEST(AvcDecoderConfigurationRecord, ASetOfLengthZeroCountsAndLeavesNoEntry) {
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(Parse(record, Record(66, 2, U16(0) + Set(Hex("67")), 2, Set(Hex("68")) + U16(0))));
  EXPECT_EQ(1u, record.spsList.size());
  EXPECT_EQ(1u, record.ppsList.size());
  EXPECT_EQ(Record(66, 1, Set(Hex("67")), 1, Set(Hex("68"))), Written(record));
}

TEST(AvcDecoderConfigurationRecord, CountsSpsIn5BitsAndPpsIn8) {
  Bytes sps, pps;
  for (int i = 0; i < 31; ++i) sps = sps + Set(Hex("67"));
  for (int i = 0; i < 255; ++i) pps = pps + Set(Hex("68"));
  CAvcDecoderConfigurationRecord record;
  const Bytes bytes = Record(66, 31, sps, 255, pps);
  ASSERT_OK(Parse(record, bytes));
  EXPECT_EQ(31u, record.spsList.size());
  EXPECT_EQ(255u, record.ppsList.size());
  EXPECT_EQ(bytes, Written(record));
}

TEST(AvcDecoderConfigurationRecord, ReservedBitsAndVersionAreKept) {
  Bytes bytes = Record(66, 1, Set(Hex("67")), 0, {});
  bytes[0] = 9;
  bytes[4] = 0x02;
  bytes[5] = 0x41;
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(Parse(record, bytes));
  EXPECT_EQ(bytes, Written(record));
}

TEST(AvcDecoderConfigurationRecord, OnlyFourProfilesHaveTheExtension) {
  for (unsigned int profile = 0; profile < 256; ++profile) {
    SCOPED_TRACE(profile);
    const bool high = profile == 100 || profile == 110 || profile == 122 || profile == 144;
    const Bytes bytes = Usual(static_cast<std::uint8_t>(profile)) + Hex("FD F9 FA 00");
    CAvcDecoderConfigurationRecord record;
    record.expectedSize = static_cast<unsigned int>(bytes.size());
    unsigned int left = 0;
    ASSERT_OK(Parse(record, bytes, &left));
    EXPECT_EQ(high ? 1u : 0u, record.hasExtension);
    EXPECT_EQ(high ? 0u : 4u, left);
    EXPECT_EQ(high ? bytes : Usual(static_cast<std::uint8_t>(profile)), Written(record));
  }
}

TEST(AvcDecoderConfigurationRecord, HighProfileThatFillsItsBoxHasNoExtension) {
  const Bytes bytes = Usual(100);
  CAvcDecoderConfigurationRecord record;
  record.expectedSize = static_cast<unsigned int>(bytes.size());
  unsigned int left = 0;
  ASSERT_OK(Parse(record, bytes + Hex("FD F8 F8 00"), &left));
  EXPECT_EQ(0u, record.hasExtension);
  EXPECT_EQ(4u, left) << "the bytes behind the box";
}

TEST(AvcDecoderConfigurationRecord, WithoutABoxTheExtensionIsRead) {
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(Parse(record, Usual(100) + Hex("FD F8 F8 00")));
  EXPECT_EQ(1u, record.hasExtension);
  EXPECT_EQ(0xFDu, record.extension->chromaFormat);
  CAvcDecoderConfigurationRecord atTheEnd;
  EXPECT_RESULT(S_FALSE, Parse(atTheEnd, Usual(100)));
  EXPECT_EQ(1u, atTheEnd.hasExtension);
}

TEST(AvcDecoderConfigurationRecord, ExtensionEntriesOfLengthTwoAreReadWhereTheyStand) {
  const Bytes bytes = Usual(110) + Hex("FD F8 F8 02 0002 ABCD 0002 1234");
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(Parse(record, bytes));
  ASSERT_EQ(2u, record.spsExtList.size());
  EXPECT_EQ(Hex("AB CD"), record.spsExtList.front());
  EXPECT_EQ(Hex("12 34"), record.spsExtList.back());
  EXPECT_EQ(bytes, Written(record));
}

TEST(AvcDecoderConfigurationRecord, ExtensionEntriesOfOtherLengthsAreReadALengthFurtherOn) {
  // From the start of its length field an entry of 4 bytes lies 4 bytes on.
  CAvcDecoderConfigurationRecord longer;
  unsigned int left = 0;
  ASSERT_OK(Parse(longer, Usual(100) + Hex("FD F8 F8 01 0004 A1A2 B1B2B3B4 EE"), &left));
  EXPECT_EQ(Hex("B1 B2 B3 B4"), longer.spsExtList.front());
  EXPECT_EQ(1u, left);
  EXPECT_EQ(Usual(100) + Hex("FD F8 F8 01 0004 B1B2B3B4"), Written(longer));
  // One of 1 byte is the second byte of its own length.
  CAvcDecoderConfigurationRecord shorter;
  ASSERT_OK(Parse(shorter, Usual(100) + Hex("FD F8 F8 01 0001 EE"), &left));
  EXPECT_EQ(Hex("01"), shorter.spsExtList.front());
  EXPECT_EQ(1u, left);
}

TEST(AvcDecoderConfigurationRecord, ExtensionEntryOfLengthZeroIsBadData) {
  CAvcDecoderConfigurationRecord record;
  EXPECT_RESULT(E_BAD_DATA, Parse(record, Usual(100) + Hex("FD F8 F8 01 0000 AB")));
  EXPECT_TRUE(record.spsExtList.empty());
}

TEST(AvcDecoderConfigurationRecord, ExtensionEntryThatLeavesTheBytesIsShort) {
  for (const char* entry : {"0003", "0005 AABB", "0004 AABB CCDDEE", "FFFF AABBCCDD", "00"}) {
    SCOPED_TRACE(entry);
    CAvcDecoderConfigurationRecord record;
    EXPECT_RESULT(S_FALSE, Parse(record, Usual(100) + Hex("FD F8 F8 01") + Hex(entry)));
    EXPECT_TRUE(record.spsExtList.empty());
  }
  CAvcDecoderConfigurationRecord control;
  EXPECT_OK(Parse(control, Usual(100) + Hex("FD F8 F8 01 0004 AABB CCDDEEFF")));
}

TEST(AvcDecoderConfigurationRecord, WritesTheExtensionCountAsItIsStored) {
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(Parse(record, Usual(100) + Hex("FD F8 F8 01 0002 ABCD")));
  record.spsExtList.push_back(Hex("EE"));
  EXPECT_EQ(Usual(100) + Hex("FD F8 F8 01 0002 ABCD 0001 EE"), Written(record));
}

TEST(AvcDecoderConfigurationRecord, AddsASetOnce) {
  const Bytes bytes = Hex("67 42 00 1E");
  for (const auto add :
       {&CAvcDecoderConfigurationRecord::AddSps, &CAvcDecoderConfigurationRecord::AddPps}) {
    CAvcDecoderConfigurationRecord record;
    auto& list = add == &CAvcDecoderConfigurationRecord::AddSps ? record.spsList : record.ppsList;
    EXPECT_RESULT(E_INVALIDARG, (record.*add)(nullptr, 4));
    EXPECT_RESULT(E_INVALIDARG, (record.*add)(bytes.data(), 0));
    EXPECT_TRUE(list.empty());
    ASSERT_OK((record.*add)(bytes.data(), 3));
    ASSERT_OK((record.*add)(bytes.data(), 3));
    EXPECT_EQ(1u, list.size());
    ASSERT_OK((record.*add)(bytes.data(), 4));
    EXPECT_EQ(2u, list.size()) << "one byte longer";
    ASSERT_OK((record.*add)(bytes.data() + 1, 3));
    EXPECT_EQ(3u, list.size()) << "other bytes";
    ASSERT_OK((record.*add)(bytes.data(), 4));
    EXPECT_EQ(3u, list.size());
    EXPECT_EQ(1u, record.spsList.empty() + record.ppsList.empty());
  }
}

TEST(AvcDecoderConfigurationRecord, AnEmptyEntryInFrontIsAPointerError) {
  const Bytes bytes = Hex("67 42");
  CAvcDecoderConfigurationRecord record;
  ASSERT_OK(record.AddSps(bytes.data(), 1));
  record.spsList.emplace_back();
  EXPECT_OK(record.AddSps(bytes.data(), 1)) << "found before it";
  EXPECT_RESULT(E_POINTER, record.AddSps(bytes.data(), 2));
}

TEST(AvcDecoderConfigurationRecord, MoreThan31SpsWrapTheCountAndAreAllWritten) {
  CAvcDecoderConfigurationRecord record;
  Bytes all;
  for (unsigned char i = 0; i < 33; ++i) {
    const unsigned char bytes[] = {0x67, i};
    ASSERT_OK(record.AddSps(bytes, 2));
    all = all + Set(Bytes(bytes, bytes + 2));
  }
  EXPECT_EQ(Hex("01 00 00 00 FC E1") + all + U8(0), Written(record));
}

TEST(AvcDecoderConfigurationRecord, LengthsAreCountedIn16Bits) {
  CAvcDecoderConfigurationRecord record;
  const Bytes bytes = Fill(0x10003, 0x67);
  ASSERT_OK(record.AddSps(bytes.data(), 0x10003));
  EXPECT_EQ(7 + 2 + 3, SizeOf(record));
  EXPECT_EQ(Hex("01 00 00 00 FC E1 0003 676767 00"), Written(record));
}

TEST(AvcDecoderConfigurationRecord, SizeNeedsAPlace) {
  EXPECT_RESULT(E_POINTER, CAvcDecoderConfigurationRecord().GetDataSize(nullptr));
}

TEST(AvcConfigurationBox, FactoryMakesBothClassesWithARecord) {
  const auto avc = MakeBox("avcC");
  ASSERT_NE(nullptr, dynamic_cast<CAvcConfigurationBox*>(avc.get()));
  EXPECT_EQ(nullptr, dynamic_cast<CMvcConfigurationBox*>(avc.get()));
  const auto mvc = MakeBox("mvcC");
  ASSERT_NE(nullptr, dynamic_cast<CMvcConfigurationBox*>(mvc.get()));
  EXPECT_EQ(Box("avcC", {Hex("01 00 00 00 FC E0 00")}), FixAndWrite(*avc));
  EXPECT_EQ(Box("mvcC", {Hex("01 00 00 00 FC E0 00")}), FixAndWrite(*mvc));
}

TEST(AvcConfigurationBox, GivesARecordBack) {
  for (const char* type : {"avcC", "mvcC"}) {
    SCOPED_TRACE(type);
    for (const Bytes& record :
         {Usual(77), Usual(100), Usual(100) + Hex("FD F8 F8 00"),
          Usual(144) + Hex("FD F8 F8 01 0002 ABCD"), Record(66, 0, {}, 0, {})}) {
      const Bytes bytes = Box(type, {record});
      const auto box = MakeBox(type);
      ASSERT_OK(ParseBox(*box, bytes));
      EXPECT_EQ(0u, box->restSize);
      EXPECT_EQ(bytes, FixAndWrite(*box));
      ExpectNeedsEveryByte(bytes);
    }
  }
}

TEST(AvcConfigurationBox, BytesBehindAProfileWithoutExtensionBecomeZeros) {
  const auto box = MakeBox("avcC");
  ASSERT_OK(ParseBox(*box, Box("avcC", {Usual(77), Hex("FD F8 F8 00")})));
  EXPECT_EQ(4u, box->restSize);
  EXPECT_EQ(0u, dynamic_cast<CAvcConfigurationBox&>(*box).record->hasExtension);
  EXPECT_EQ(Box("avcC", {Usual(77), Zeros(4)}), FixAndWrite(*box));
}

TEST(AvcConfigurationBox, ParsingNeedsInit) {
  CAvcConfigurationBox box;
  const Bytes bytes = Box("avcC", {Usual(77)});
  EXPECT_RESULT(E_POINTER, ParseBox(box, bytes));
  EXPECT_EQ(8, support::SizeOf(box));
  Bytes written;
  EXPECT_OK(WriteBox(box, 8, &written));
  EXPECT_EQ(8u, written.size()) << "the header alone";
  EXPECT_RESULT(E_POINTER, box.GetDataSizeImpl(nullptr));
  ASSERT_OK(box.Init());
  EXPECT_OK(ParseBox(box, bytes));
  box.Reset();
  EXPECT_EQ(nullptr, box.record);
  EXPECT_EQ(0u, box.header->size);
}

TEST(AvcConfigurationBox, InitMakesANewRecord) {
  CAvcConfigurationBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, Box("avcC", {Usual(77)})));
  ASSERT_OK(box.Init());
  ASSERT_NE(nullptr, box.record);
  EXPECT_TRUE(box.record->spsList.empty());
  EXPECT_EQ(0u, box.record->expectedSize);
  EXPECT_EQ(0u, box.header->size);
}

TEST(AvcConfigurationBox, ParameterSetsThatRunOverTheBoxAreBadData) {
  const Bytes whole = Box("avcC", {Usual(77)});
  for (std::uint32_t declared = 8; declared < whole.size(); ++declared) {
    SCOPED_TRACE(declared);
    const auto box = MakeBox("avcC");
    EXPECT_RESULT(E_BAD_DATA, ParseBox(*box, WithU32(whole, 0, declared) + Fill(20, 0)));
  }
}

TEST(AvcConfigurationBox, ParameterSetsThatRunOverTheBufferAreShort) {
  const auto box = MakeBox("avcC");
  EXPECT_RESULT(S_FALSE,
                ParseBox(*box, Box("avcC", {Record(100, 31, U16(0xFFFF) + Hex("67"), 0, {})})));
  EXPECT_TRUE(dynamic_cast<CAvcConfigurationBox&>(*box).record->spsList.empty());
}

TEST(AvcConfigurationBox, ASizeBelowItsHeaderIsBadData) {
  for (const std::uint32_t declared : {0u, 7u}) {
    SCOPED_TRACE(declared);
    const auto box = MakeBox("avcC");
    EXPECT_RESULT(E_BAD_DATA, ParseBox(*box, WithU32(Box("avcC", {Usual(77)}), 0, declared)));
  }
}

TEST(AvcConfigurationBox, ALargeSizeIsPending) {
  const auto box = MakeBox("avcC");
  EXPECT_RESULT(E_PENDING, ParseBox(*box, WithU32(Box("avcC", {Usual(77)}), 0, 1)));
}

}  // namespace
