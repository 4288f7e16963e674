#include "box/descriptors.h"

#include "box/box_factory.h"
#include "support/descriptor_io.h"

namespace {

using MP4G::CAudioSpecificConfig;
using MP4G::CBaseDescriptor;
using MP4G::CBoxFactory;
using MP4G::CDecoderConfigDescriptor;
using MP4G::CDecoderSpecificInfo;
using MP4G::CEsDescriptor;
using MP4G::CSLConfigDescriptor;
using MP4G::CVideoSpecificConfig;
using support::Bytes;
using support::DecoderConfig;
using support::Descriptor;
using support::ExpectDescriptorNeedsEveryByte;
using support::Fill;
using support::Hex;
using support::Join;
using support::operator+;
using support::ParseDescriptor;
using support::SizeOf;
using support::U16;
using support::U8;
using support::WriteDescriptor;
using support::Written;
using support::Zeros;

TEST(EsDescriptor, ReadsTheFieldsThatItsFlagsName) {
  for (unsigned int combination = 0; combination < 8; ++combination) {
    SCOPED_TRACE(combination);
    const auto flags = static_cast<std::uint8_t>(combination << 5 | 0x1F);
    Bytes body = U16(0x0102) + U8(flags);
    if ((flags & 0x80) != 0) body = body + U16(0x1112);
    if ((flags & 0x40) != 0) body = body + U8(3) + Hex("61 62 63");
    if ((flags & 0x20) != 0) body = body + U16(0x2122);
    const Bytes bytes = Descriptor(3, {body});
    CEsDescriptor es;
    ASSERT_OK(ParseDescriptor(es, bytes));
    EXPECT_EQ(0x0102u, es.record->esId);
    EXPECT_EQ(flags, es.record->flags);
    EXPECT_EQ((flags & 0x80) != 0 ? 0x1112u : 0u, es.data->dependsOnEsId);
    EXPECT_EQ((flags & 0x40) != 0 ? 3u : 0u, es.data->urlLength);
    EXPECT_EQ((flags & 0x40) != 0 ? 'c' : '\0', es.data->url[2]);
    EXPECT_EQ((flags & 0x20) != 0 ? 0x2122u : 0u, es.data->ocrEsId);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(es));
    ASSERT_OK(es.FixParam());
    EXPECT_EQ(bytes, Written(es));
    ExpectDescriptorNeedsEveryByte(bytes);
  }
}

TEST(EsDescriptor, TakesUrlsOfEveryLength) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{255}}) {
    SCOPED_TRACE(length);
    const Bytes bytes =
        Descriptor(3, {U16(1), U8(0x40), U8(static_cast<std::uint8_t>(length)), Fill(length, 'u')});
    CEsDescriptor es;
    ASSERT_OK(ParseDescriptor(es, bytes));
    EXPECT_EQ(bytes, Written(es));
  }
}

TEST(EsDescriptor, ResetClearsBothRecords) {
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(es, Descriptor(3, {U16(1), U8(0xFF), U16(2), U8(1), U8('u'), U16(3)})));
  es.Reset();
  EXPECT_EQ(0, es.record->esId | es.record->flags | es.data->dependsOnEsId | es.data->urlLength |
                   es.data->url[0] | es.data->ocrEsId);
}

TEST(DecoderConfigDescriptor, GivesItsRecordBackAsItStands) {
  const Bytes bytes = Descriptor(4, {Hex("21 11 010203 04050607 08090A0B")});
  CDecoderConfigDescriptor config;
  ASSERT_OK(ParseDescriptor(config, bytes));
  EXPECT_EQ(0x21, config.record->objectTypeIndication);
  EXPECT_EQ(0x11, config.record->streamType);
  EXPECT_EQ(0x010203u, config.record->bufferSizeDB);
  EXPECT_EQ(0x04050607u, config.record->maxBitrate);
  EXPECT_EQ(0x08090A0Bu, config.record->avgBitrate);
  ASSERT_OK(config.FixParam());
  EXPECT_EQ(bytes, Written(config));
  ExpectDescriptorNeedsEveryByte(bytes);
}

TEST(DecoderConfigDescriptor, NewOneHasTheReservedBitAlone) {
  CDecoderConfigDescriptor fresh;
  ASSERT_OK(fresh.FixParam());
  EXPECT_EQ(Hex("00 0D 00 01 000000 00000000 00000000"), Written(fresh));
  ASSERT_OK(ParseDescriptor(fresh, Descriptor(4, {Fill(13, 0xAA)})));
  fresh.Reset();
  ASSERT_OK(fresh.FixParam());
  EXPECT_EQ(Hex("00 0D 00 01 000000 00000000 00000000"), Written(fresh));
}

TEST(DecoderConfigDescriptor, ChildrenAreSpecificInfosOfTheObjectType) {
  for (unsigned int type = 0; type < 256; ++type) {
    SCOPED_TRACE(type);
    CDecoderConfigDescriptor config;
    ASSERT_OK(ParseDescriptor(
        config, DecoderConfig(static_cast<std::uint8_t>(type), {Descriptor(5, {U8(1)})})));
    CBaseDescriptor* child = config.GetChildDescriptor(5);
    EXPECT_NE(nullptr, dynamic_cast<CDecoderSpecificInfo*>(child));
    EXPECT_EQ(type == 0x40, dynamic_cast<CAudioSpecificConfig*>(child) != nullptr);
    EXPECT_EQ(type == 0x20, dynamic_cast<CVideoSpecificConfig*>(child) != nullptr);
  }
}

TEST(DecoderConfigDescriptor, EveryChildIsASpecificInfoUnderTagFive) {
  const Bytes bytes = DecoderConfig(0x40, {Descriptor(0x0A, {U8(1)}), Descriptor(3, {U8(2)}),
                                           Descriptor(6, {U8(3)}), Descriptor(5, {U8(4)})});
  CDecoderConfigDescriptor config;
  ASSERT_OK(ParseDescriptor(config, bytes));
  ASSERT_EQ(4u, config.children.size());
  for (const auto& [key, child] : config.children) {
    EXPECT_EQ(5u, key);
    EXPECT_NE(nullptr, dynamic_cast<CAudioSpecificConfig*>(child));
  }
  EXPECT_EQ(0x0Au, config.GetChildDescriptor(5)->tag) << "its own header then gave the true tag";
  EXPECT_EQ(nullptr, config.GetChildDescriptor(6));
  EXPECT_EQ(bytes, Written(config)) << "all under one key, so in the order of the file";
  ASSERT_OK(config.FixParam());
  EXPECT_EQ(
      DecoderConfig(0x40, {Descriptor(3, {U8(2)}), Descriptor(6, {U8(3)}), Descriptor(5, {U8(4)})}),
      Written(config));
}

TEST(DecoderConfigDescriptor, CreatingAChildNeedsAPlaceAndIgnoresTheTag) {
  CDecoderConfigDescriptor config;
  EXPECT_RESULT(E_POINTER, config.CreateChildDescriptor(5, nullptr));
  CBaseDescriptor* child = nullptr;
  ASSERT_OK(config.CreateChildDescriptor(6, &child));
  EXPECT_EQ(5u, child->tag);
  EXPECT_NE(nullptr, dynamic_cast<CDecoderSpecificInfo*>(child));
  delete child;
}

TEST(DecoderSpecificInfo, FactoryGivesTagFiveToEachClass) {
  EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSpecificInfoImpl(0x40, nullptr));
  EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSpecificInfo<CBaseDescriptor>(0x40, nullptr));
  for (const unsigned char type : {std::uint8_t{0x20}, std::uint8_t{0x40}, std::uint8_t{0x21}}) {
    CBaseDescriptor* info = nullptr;
    ASSERT_OK(CBoxFactory::CreateSpecificInfo(type, &info));
    EXPECT_EQ(5u, info->tag);
    delete info;
  }
  CVideoSpecificConfig other;
  CVideoSpecificConfig* video = &other;
  EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSpecificInfo(0x40, &video));
  EXPECT_EQ(nullptr, video);
}

TEST(DecoderSpecificInfo, KeepsItsBlock) {
  for (const Bytes& block : {Bytes(), Hex("12"), Hex("12 10 56 E5 00")}) {
    const Bytes bytes = Descriptor(5, {block});
    CDecoderSpecificInfo info;
    ASSERT_OK(ParseDescriptor(info, bytes));
    EXPECT_EQ(block, info.data);
    ASSERT_OK(info.FixParam());
    EXPECT_EQ(bytes, Written(info));
    ExpectDescriptorNeedsEveryByte(bytes);
  }
}

TEST(DecoderSpecificInfo, ParsingReplacesTheBlockAndResetEmptiesIt) {
  CDecoderSpecificInfo info;
  info.data = Hex("01 02 03");
  const Bytes bytes = Hex("05 01 09");
  const unsigned char* in = bytes.data();
  unsigned int rest = 3;
  ASSERT_OK(info.SetDataImpl(in, rest));
  EXPECT_EQ(Hex("09"), info.data);
  info.Reset();
  EXPECT_TRUE(info.data.empty());
}

TEST(DecoderSpecificInfo, LengthBeyondTheBytesTakesNoMemory) {
  CDecoderSpecificInfo info;
  EXPECT_RESULT(S_FALSE, ParseDescriptor(info, Hex("05 8F FF FF FF 7F 01 02")));
  EXPECT_EQ(0u, info.data.capacity());
}

TEST(DecoderSpecificInfo, SetSpecificDataCopiesABlock) {
  CDecoderSpecificInfo info;
  const Bytes block = Hex("01 02 03 04");
  EXPECT_RESULT(E_INVALIDARG, info.SetSpecificData(nullptr, 4));
  EXPECT_RESULT(E_INVALIDARG, info.SetSpecificData(block.data(), 0));
  EXPECT_TRUE(info.data.empty());
  ASSERT_OK(info.SetSpecificData(block.data(), 4));
  EXPECT_EQ(block, info.data);
  ASSERT_OK(info.SetSpecificData(info.data.data() + 1, 2));
  EXPECT_EQ(Hex("02 03"), info.data);
  EXPECT_RESULT(E_INVALIDARG, info.SetSpecificData(block.data(), 0));
  EXPECT_EQ(Hex("02 03"), info.data);
}

TEST(AudioSpecificConfig, KeepsAParsedBlockAndReadsNothingOutOfIt) {
  const Bytes bytes = DecoderConfig(0x40, {Descriptor(5, {Hex("13 88")})});
  CDecoderConfigDescriptor config;
  ASSERT_OK(ParseDescriptor(config, bytes));
  auto* audio = dynamic_cast<CAudioSpecificConfig*>(config.GetChildDescriptor(5));
  ASSERT_NE(nullptr, audio);
  EXPECT_EQ(Hex("13 88"), audio->data);
  EXPECT_EQ(2u, audio->audioObjectType);
  EXPECT_EQ(2u, audio->channelConfiguration);
  EXPECT_EQ(0xFFu, audio->samplingFrequencyIndex);
  audio->SetSamplingFrequency(8000);
  audio->SetChannelNum(1);
  ASSERT_OK(config.FixParam());
  EXPECT_EQ(bytes, Written(config));
}

TEST(AudioSpecificConfig, MakesTheBlockOfANewOne) {
  CAudioSpecificConfig audio;
  audio.SetSamplingFrequency(48000);
  audio.SetChannelNum(2);
  ASSERT_OK(audio.FixParam());
  EXPECT_EQ(Hex("11 90"), audio.data);
  EXPECT_EQ(2u, audio.payloadSize);
  audio.SetChannelNum(1);
  ASSERT_OK(audio.FixParam());
  EXPECT_EQ(Hex("11 90"), audio.data) << "a block that is there stays";
  audio.CreateByteData();
  EXPECT_EQ(Hex("11 88"), audio.data);
}

TEST(AudioSpecificConfig, CutsValuesThatTheFormatDoesNotHave) {
  CAudioSpecificConfig noFrequency;
  ASSERT_OK(noFrequency.FixParam());
  EXPECT_EQ(Hex("17 90"), noFrequency.data);
  CAudioSpecificConfig manyChannels;
  manyChannels.SetSamplingFrequency(48000);
  manyChannels.SetChannelNum(8);
  EXPECT_EQ(0xFFu, manyChannels.channelConfiguration);
  ASSERT_OK(manyChannels.FixParam());
  EXPECT_EQ(Hex("11 F8"), manyChannels.data);
  CAudioSpecificConfig object;
  object.audioObjectType = 0xE5;
  object.samplingFrequencyIndex = 0;
  object.channelConfiguration = 0;
  object.CreateByteData();
  EXPECT_EQ(Hex("28 00"), object.data);
}

TEST(AudioSpecificConfig, KnowsTheTwelveFrequencies) {
  const unsigned int table[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                24000, 22050, 16000, 12000, 11025, 8000};
  CAudioSpecificConfig audio;
  for (unsigned int index = 0; index < 12; ++index) {
    audio.SetSamplingFrequency(table[index]);
    EXPECT_EQ(index, audio.samplingFrequencyIndex);
  }
  for (const unsigned int other : {0u, 7350u, 7999u, 44101u, 96001u, 0xFFFFFFFFu}) {
    audio.SetSamplingFrequency(other);
    EXPECT_EQ(0xFFu, audio.samplingFrequencyIndex) << other;
  }
}

TEST(AudioSpecificConfig, KnowsOneToSevenChannels) {
  CAudioSpecificConfig audio;
  for (unsigned int channels = 0; channels < 0x10000; ++channels) {
    audio.SetChannelNum(static_cast<unsigned short>(channels));
    ASSERT_EQ(channels >= 1 && channels <= 7 ? channels : 0xFFu, audio.channelConfiguration);
  }
}

TEST(AudioSpecificConfig, ResetRestoresTheDefaults) {
  CAudioSpecificConfig audio;
  audio.audioObjectType = 5;
  audio.SetChannelNum(1);
  audio.SetSamplingFrequency(8000);
  audio.CreateByteData();
  audio.Reset();
  EXPECT_EQ(2u, audio.audioObjectType);
  EXPECT_EQ(2u, audio.channelConfiguration);
  EXPECT_EQ(0xFFu, audio.samplingFrequencyIndex);
  EXPECT_TRUE(audio.data.empty());
}

TEST(SlConfigDescriptor, PredefinedTwoIsOneByteOfBody) {
  const Bytes bytes = Hex("06 01 02");
  CSLConfigDescriptor sl;
  EXPECT_EQ(2u, sl.predefined);
  ASSERT_OK(ParseDescriptor(sl, bytes));
  EXPECT_EQ(2u, sl.predefined);
  EXPECT_EQ(0u, sl.record0->flags);
  EXPECT_EQ(0u, sl.record0->timeStampLength);
  ASSERT_OK(sl.FixParam());
  EXPECT_EQ(bytes, Written(sl));
  ExpectDescriptorNeedsEveryByte(bytes);
}

// A body with predefined value 0: flags, resolutions, length of the stamps, the other lengths.
Bytes SlBody(std::uint8_t flags, std::uint8_t stampBits, const Bytes& behind = {}) {
  return Join(
      {U8(0), U8(flags), Hex("01020304 05060708"), U8(stampBits), Hex("A1A2A3A4A5"), behind});
}

TEST(SlConfigDescriptor, PredefinedZeroBringsTheFirstRecord) {
  const Bytes bytes = Descriptor(6, {SlBody(0x04, 32)});
  CSLConfigDescriptor sl;
  ASSERT_OK(ParseDescriptor(sl, bytes));
  EXPECT_EQ(0x04u, sl.record0->flags);
  EXPECT_EQ(0x01020304u, sl.record0->timeStampResolution);
  EXPECT_EQ(0x05060708u, sl.record0->ocrResolution);
  EXPECT_EQ(32u, sl.record0->timeStampLength);
  EXPECT_EQ(0xA5u, sl.record0->otherLengths[4]);
  ASSERT_OK(sl.FixParam());
  EXPECT_EQ(bytes, Written(sl));
  ExpectDescriptorNeedsEveryByte(bytes);
}

TEST(SlConfigDescriptor, DurationFlagBringsTheSecondRecord) {
  const Bytes bytes = Descriptor(6, {SlBody(0x05, 32, Hex("11121314 2122 3132"))});
  CSLConfigDescriptor sl;
  ASSERT_OK(ParseDescriptor(sl, bytes));
  EXPECT_EQ(0x11121314u, sl.record1->timeScale);
  EXPECT_EQ(0x2122u, sl.record1->accessUnitDuration);
  EXPECT_EQ(0x3132u, sl.record1->compositionUnitDuration);
  ASSERT_OK(sl.FixParam());
  EXPECT_EQ(bytes, Written(sl));
  ExpectDescriptorNeedsEveryByte(bytes);
}

TEST(SlConfigDescriptor, FlagsCountWhateverThePredefinedValue) {
  CSLConfigDescriptor sl;
  sl.record0->flags = 0x05;
  EXPECT_EQ(2 + 1 + 8, SizeOf(sl));
  EXPECT_EQ(Hex("00 00 02") + Zeros(8), Written(sl));
  const Bytes bytes = Hex("06 09 02 11121314 2122 3132");
  const unsigned char* in = bytes.data();
  auto rest = static_cast<unsigned int>(bytes.size());
  ASSERT_OK(sl.SetDataImpl(in, rest));
  EXPECT_EQ(0x11121314u, sl.record1->timeScale);
}

TEST(SlConfigDescriptor, ReadsStartStampsOfWholeBytes) {
  const struct {
    std::uint8_t bits;
    const char* stamps;
    std::uint64_t decoding, composition;
  } cases[] = {
      {0, "", 0, 0},
      {7, "", 0, 0},
      {8, "A1 B1", 0xA1, 0xB1},
      {15, "A1 B1", 0xA1, 0xB1},
      {16, "A1A2 B1B2", 0xA1A2, 0xB1B2},
      {33, "A1A2A3A4 B1B2B3B4", 0xA1A2A3A4, 0xB1B2B3B4},
      {64, "A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8", 0xA1A2A3A4A5A6A7A8, 0xB1B2B3B4B5B6B7B8},
      {72, "00A1A2A3A4A5A6A7A8 FFB1B2B3B4B5B6B7B8", 0xA1A2A3A4A5A6A7A8, 0xB1B2B3B4B5B6B7B8},
  };
  for (const auto& [bits, stamps, decoding, composition] : cases) {
    SCOPED_TRACE(int{bits});
    const Bytes bytes = Descriptor(6, {SlBody(0, bits, Hex(stamps))});
    CSLConfigDescriptor sl;
    unsigned int left = 1;
    ASSERT_OK(ParseDescriptor(sl, bytes, &left));
    EXPECT_EQ(0u, left);
    EXPECT_EQ(decoding, sl.startDecodingTimeStamp);
    EXPECT_EQ(composition, sl.startCompositionTimeStamp);
    for (std::size_t cut = 1; cut <= Hex(stamps).size(); ++cut)
      EXPECT_RESULT(S_FALSE,
                    ParseDescriptor(sl, Bytes(bytes.data(), bytes.data() + bytes.size() - cut)));
  }
}

TEST(SlConfigDescriptor, ShiftsStampsInWithoutClearingThem) {
  CSLConfigDescriptor sl;
  sl.startDecodingTimeStamp = 0x11;
  sl.startCompositionTimeStamp = 0x22;
  const Bytes bytes = Descriptor(6, {SlBody(0, 8, Hex("A1 B1"))});
  const unsigned char* in = bytes.data();
  auto rest = static_cast<unsigned int>(bytes.size());
  ASSERT_OK(sl.SetDataImpl(in, rest));
  EXPECT_EQ(0x11A1u, sl.startDecodingTimeStamp);
  EXPECT_EQ(0x22B1u, sl.startCompositionTimeStamp);
}

TEST(SlConfigDescriptor, WritesStampsByShiftsThatFallByOne) {
  const auto written = [](std::uint8_t bits, std::uint64_t decoding, std::uint64_t composition) {
    CSLConfigDescriptor sl;
    sl.record0->timeStampLength = bits;
    sl.startDecodingTimeStamp = decoding;
    sl.startCompositionTimeStamp = composition;
    Bytes bytes;
    EXPECT_OK(WriteDescriptor(sl, 100, &bytes));
    return Bytes(bytes.begin() + 3, bytes.end());
  };
  EXPECT_EQ(Hex(""), written(7, ~0ull, ~0ull));
  // One byte: a shift of -1 is one of 63.
  EXPECT_EQ(Hex("01 00"), written(8, 0x8000000000000000, 0x7FFFFFFFFFFFFFFF));
  // Four bytes: shifts of 2, 1, 0, 63.
  EXPECT_EQ(Hex("9E 3C 78 00 00 00 00 01"), written(32, 0x12345678, 0x8000000000000000));
  // Zero comes back as it was.
  EXPECT_EQ(Zeros(16), written(64, 0, 0));
  // 31 bytes: shifts of 29 down to 0, then 63.
  const Bytes longest = written(255, 0xFF, 0);
  ASSERT_EQ(62u, longest.size());
  EXPECT_EQ(Hex("00 01 03 07 0F 1F 3F 7F FF 00"),
            Bytes(longest.begin() + 21, longest.begin() + 31));
}

TEST(SlConfigDescriptor, SizeCountsStampsInQuartersOfTheirBits) {
  for (unsigned int bits = 0; bits < 256; ++bits) {
    SCOPED_TRACE(bits);
    CSLConfigDescriptor sl;
    sl.record0->timeStampLength = static_cast<unsigned char>(bits);
    EXPECT_EQ(3 + bits / 4, SizeOf(sl));
    Bytes written;
    ASSERT_OK(WriteDescriptor(sl, 100, &written));
    EXPECT_EQ(3 + 2 * (bits / 8), written.size());
    EXPECT_LE(written.size(), static_cast<std::size_t>(SizeOf(sl)));
    sl.record0->flags = 0x04;
    EXPECT_EQ(3, SizeOf(sl));
  }
}

TEST(SlConfigDescriptor, EveryShorterBufferIsTooShortForEachPart) {
  CSLConfigDescriptor sl;
  sl.predefined = 0;
  sl.record0->flags = 0x01;
  sl.record0->timeStampLength = 16;
  const auto total = static_cast<std::size_t>(SizeOf(sl));
  EXPECT_EQ(2u + 1 + 15 + 8 + 4, total);
  for (std::size_t room = 0; room < total; ++room)
    EXPECT_RESULT(S_FALSE, WriteDescriptor(sl, room));
  EXPECT_OK(WriteDescriptor(sl, total));
}

TEST(SlConfigDescriptor, ResetRestoresTheDefaults) {
  CSLConfigDescriptor sl;
  ASSERT_OK(ParseDescriptor(sl, Descriptor(6, {SlBody(0x01, 8, Hex("11121314 2122 3132 A1 B1"))})));
  sl.Reset();
  EXPECT_EQ(2u, sl.predefined);
  EXPECT_EQ(0u, sl.record0->flags | sl.record0->timeStampResolution | sl.record0->ocrResolution |
                    sl.record0->timeStampLength | sl.record0->otherLengths[0]);
  EXPECT_EQ(0u, sl.record1->timeScale | sl.record1->accessUnitDuration);
  EXPECT_EQ(0u, sl.startDecodingTimeStamp | sl.startCompositionTimeStamp);
}

}  // namespace
