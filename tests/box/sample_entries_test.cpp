#include "box/sample_entries.h"

#include <gtest/gtest.h>

#include "box/data_boxes.h"
#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CAudioSampleEntry;
using MP4G::CMp4AudioSampleEntry;
using MP4G::CVisualSampleEntry;
using support::Box;
using support::Bytes;
using support::Fill;
using support::FixAndWrite;
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

const Bytes kNewEntry = Join({Zeros(6), U16(1)});
const Bytes kNewVisual = Join({kNewEntry, Zeros(20), U32(0x480000), U32(0x480000), U32(0), U16(1),
                               Zeros(32), U16(24), U16(0xFFFF)});
const Bytes kNewAudio = Join({kNewEntry, Zeros(20)});
const Bytes kNewTimecode = Join({kNewEntry, Zeros(18)});

// What a new entry, and one after Reset, writes.
template <class T>
void ExpectDefaults(const Bytes& body) {
  T fresh;
  fresh.SetClassType(FourCc("zzzz"));
  const Bytes expected = Box("zzzz", {body});
  EXPECT_EQ(expected, FixAndWrite(fresh));
  T used;
  ASSERT_OK(ParseBox(used, Box("yyyy", {Fill(body.size(), 0x77)})));
  used.SetClassType(FourCc("zzzz"));
  used.Reset();
  EXPECT_EQ(expected, FixAndWrite(used));
}

TEST(SampleEntries, NewOnesHaveTheDefaultsOfTheFormat) {
  ExpectDefaults<MP4G::CSampleEntry>(kNewEntry);
  ExpectDefaults<MP4G::CHintSampleEntry>(kNewEntry);
  ExpectDefaults<CVisualSampleEntry>(kNewVisual);
  ExpectDefaults<MP4G::CMp4VisualSampleEntry>(kNewVisual);
  ExpectDefaults<MP4G::CAvcSampleEntry>(kNewVisual);
  ExpectDefaults<MP4G::CAvcParameterSampleEntry>(kNewVisual);
  ExpectDefaults<CAudioSampleEntry>(kNewAudio);
  ExpectDefaults<CMp4AudioSampleEntry>(kNewAudio);
  ExpectDefaults<MP4G::CTimecodeSampleDescription>(kNewTimecode);
}

TEST(VisualSampleEntry, NewOneHas86Bytes) {
  CVisualSampleEntry box;
  EXPECT_EQ(86, SizeOf(box));
  EXPECT_EQ(0x00480000u, box.record->horizResolution);
  EXPECT_EQ(0x00480000u, box.record->vertResolution);
  EXPECT_EQ(1u, box.record->frameCount);
  EXPECT_EQ(24u, box.record->depth);
}

TEST(SampleEntries, HaveTheFieldsOfTheFormat) {
  CVisualSampleEntry visual;
  ASSERT_OK(ParseBox(visual, Box("jpeg", {Fill(6, 9), U16(1), U16(2), U16(3), U32(4), Zeros(4),
                                          U32(5), U16(6), U16(7), U32(8), U32(9), U32(10), U16(11),
                                          U8(12), Zeros(30), U8(13), U16(14), U16(15)})));
  EXPECT_EQ(9u, visual.CSampleEntry::record->reserved[5]);
  EXPECT_EQ(1u, visual.dataReferenceIndex);
  EXPECT_EQ(2u, visual.record->preDefined1);
  EXPECT_EQ(3u, visual.record->reserved1);
  EXPECT_EQ(4u, visual.record->preDefined2[0]);
  EXPECT_EQ(5u, visual.record->preDefined2[2]);
  EXPECT_EQ(6u, visual.record->width);
  EXPECT_EQ(7u, visual.record->height);
  EXPECT_EQ(8u, visual.record->horizResolution);
  EXPECT_EQ(9u, visual.record->vertResolution);
  EXPECT_EQ(10u, visual.record->reserved2);
  EXPECT_EQ(11u, visual.record->frameCount);
  EXPECT_EQ(12u, visual.record->compressorName[0]);
  EXPECT_EQ(13u, visual.record->compressorName[31]);
  EXPECT_EQ(14u, visual.record->depth);
  EXPECT_EQ(15u, visual.record->preDefined3);

  CAudioSampleEntry audio;
  ASSERT_OK(ParseBox(audio, Box("twos", {Zeros(8), U16(1), U16(2), U32(3), U16(4), U16(5), U16(6),
                                         U16(7), U32(8), U32(9), U32(10), U32(11), U32(12)})));
  EXPECT_EQ(1u, audio.record->entryVersion);
  EXPECT_EQ(2u, audio.record->revision);
  EXPECT_EQ(3u, audio.record->vendor);
  EXPECT_EQ(4u, audio.record->channelCount);
  EXPECT_EQ(5u, audio.record->sampleSize);
  EXPECT_EQ(6u, audio.record->preDefined);
  EXPECT_EQ(7u, audio.record->reserved);
  EXPECT_EQ(8u, audio.record->sampleRate);
  EXPECT_EQ(9u, audio.extension->samplesPerPacket);
  EXPECT_EQ(10u, audio.extension->bytesPerPacket);
  EXPECT_EQ(11u, audio.extension->bytesPerFrame);
  EXPECT_EQ(12u, audio.extension->bytesPerSample);

  MP4G::CTimecodeSampleDescription timecode;
  ASSERT_OK(
      ParseBox(timecode, Box("tmcd", {Zeros(8), U32(1), U32(2), U32(3), U32(4), U8(5), U8(6)})));
  EXPECT_EQ(1u, timecode.record->reserved1);
  EXPECT_EQ(2u, timecode.record->flags);
  EXPECT_EQ(3u, timecode.record->timeScale);
  EXPECT_EQ(4u, timecode.record->frameDuration);
  EXPECT_EQ(5u, timecode.record->numberOfFrames);
  EXPECT_EQ(6u, timecode.record->reserved2);
}

struct Fixed {
  const char* type;
  unsigned int records[3];  // bytes of each piece behind the header
};

TEST(SampleEntries, TakeWholeRecordsAndKeepThemAsTheyStand) {
  const Fixed kinds[] = {{"avc1", {8, 70, 0}}, {"avcp", {8, 70, 0}}, {"jpeg", {8, 70, 0}},
                         {"mp4v", {8, 70, 0}}, {"mp4a", {8, 20, 0}}, {"twos", {8, 20, 0}},
                         {"sowt", {8, 20, 0}}, {"tmcd", {8, 18, 0}}};
  for (const Fixed& kind : kinds) {
    SCOPED_TRACE(kind.type);
    const Bytes bytes = Box(kind.type, {Fill(kind.records[0] + kind.records[1], 0xA5)});
    const auto whole = MakeBox(kind.type);
    ASSERT_OK(ParseBox(*whole, bytes));
    EXPECT_EQ(0u, whole->restSize);
    EXPECT_EQ(bytes, FixAndWrite(*whole));
    for (unsigned int body = 0; body + 8 < bytes.size(); ++body) {
      const auto box = MakeBox(kind.type);
      unsigned int left = 0;
      EXPECT_RESULT(S_FALSE, ParseBox(*box, Cut(bytes, 8 + body), &left));
      EXPECT_EQ(body < 8 ? body : body - 8, left);
    }
  }
}

TEST(SampleEntries, WithoutChildrenWriteZerosForThem) {
  const Bytes child = Box("zzzz", {Fill(5, 0xFF)});
  for (const char* type : {"avcp", "jpeg", "sowt", "twos", "tmcd"}) {
    const auto fresh = MakeBox(type);
    const Bytes entry = FixAndWrite(*fresh);
    const Bytes body(entry.begin() + 8, entry.end());
    const auto box = MakeBox(type);
    ASSERT_OK(ParseBox(*box, Box(type, {body, child})));
    EXPECT_TRUE(box->children.empty());
    EXPECT_EQ(child.size(), box->restSize);
    EXPECT_EQ(Box(type, {body, Zeros(child.size())}), FixAndWrite(*box)) << type;
  }
  MP4G::CHintSampleEntry hint;
  ASSERT_OK(ParseBox(hint, Box("rtp ", {kNewEntry, child})));
  EXPECT_EQ(Box("rtp ", {kNewEntry, Zeros(child.size())}), FixAndWrite(hint));
  MP4G::CSampleEntry plain;
  ASSERT_OK(ParseBox(plain, Box("text", {kNewEntry, child})));
  EXPECT_EQ(Box("text", {kNewEntry, Zeros(child.size())}), FixAndWrite(plain));
}

TEST(SampleEntries, WithChildrenKeepThem) {
  const Bytes child = Box("zzzz", {Fill(5, 0xFF)});
  for (const char* type : {"avc1", "mp4v", "mp4a"}) {
    const auto fresh = MakeBox(type);
    const Bytes entry = FixAndWrite(*fresh);
    const Bytes body(entry.begin() + 8, entry.end());
    const auto box = MakeBox(type);
    ASSERT_OK(ParseBox(*box, Box(type, {body, Box("pasp", {U32(1), U32(2)}), child, U8(7)})));
    EXPECT_EQ(2u, box->GetChildBoxNum(0));
    EXPECT_EQ(1u, box->GetChildBoxNum(FourCc("pasp")));
    EXPECT_NE(nullptr, dynamic_cast<MP4G::CDataMemBox*>(box->GetChildBox(FourCc("zzzz"), 0)));
    EXPECT_EQ(Box(type, {body, Box("pasp", {U32(1), U32(2)}), child, Zeros(1)}), FixAndWrite(*box))
        << type;
  }
}

Bytes Audio(unsigned int version) {
  return Join({kNewEntry, U16(static_cast<std::uint16_t>(version)), Fill(18, 2)});
}

TEST(AudioSampleEntry, HasItsExtensionInVersion1Only) {
  const Bytes extension = Join({U32(1024), U32(2), U32(3), U32(4)});
  for (const unsigned int version : {0u, 1u, 2u, 257u}) {
    CAudioSampleEntry box;
    ASSERT_OK(ParseBox(box, Box("twos", {Audio(version), extension})));
    EXPECT_EQ(version == 1 ? 1024u : 0u, box.extension->samplesPerPacket);
    EXPECT_EQ(version == 1 ? 0u : 16u, box.restSize);
    EXPECT_EQ(52, SizeOf(box));
    EXPECT_EQ(Box("twos", {Audio(version), version == 1 ? extension : Zeros(16)}),
              FixAndWrite(box));
  }
}

TEST(AudioSampleEntry, TakesItsExtensionWholeOrNotAtAll) {
  const Bytes bytes = Box("twos", {Audio(1), Fill(16, 3)});
  for (unsigned int length = 36; length < 52; ++length) {
    CAudioSampleEntry box;
    unsigned int left = 0;
    EXPECT_RESULT(S_FALSE, ParseBox(box, Cut(bytes, length), &left));
    EXPECT_EQ(length - 36, left);
    EXPECT_EQ(0u, box.extension->samplesPerPacket);
  }
  CAudioSampleEntry box;
  ASSERT_OK(ParseBox(box, bytes));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 51, &written));
  EXPECT_EQ(36u, written.size());
}

TEST(AudioSampleEntry, WritesItsExtensionByTheVersionItHasNow) {
  CAudioSampleEntry box;
  ASSERT_OK(ParseBox(box, Box("twos", {Audio(0)})));
  box.extension->bytesPerFrame = 7;
  EXPECT_EQ(Box("twos", {Audio(0)}), FixAndWrite(box));
  box.record->entryVersion = 1;
  EXPECT_EQ(Box("twos", {Audio(1), Zeros(8), U32(7), Zeros(4)}), FixAndWrite(box));
  box.Reset();
  EXPECT_EQ(0u, box.extension->bytesPerFrame);
}

TEST(Mp4AudioSampleEntry, HasChildrenBehindItsFieldsOfVersion0) {
  const Bytes stream = support::Hex("00000000 03 03 0001 00");
  const Bytes bytes = Box("mp4a", {Audio(0), Box("esds", {stream})});
  CMp4AudioSampleEntry box;
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_EQ(1u, box.GetChildBoxNum(0));
  EXPECT_EQ(36, box.GetChildBox(FourCc("esds"), 0)->position);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(Mp4AudioSampleEntry, HasChildrenBehindTheExtensionOfVersion1) {
  const Bytes bytes = Box("mp4a", {Audio(1), Fill(16, 3), Box("wave", {U32(4)})});
  CMp4AudioSampleEntry box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0x03030303u, box.extension->bytesPerSample);
  EXPECT_EQ(52, box.GetChildBox(FourCc("wave"), 0)->position);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(Mp4AudioSampleEntry, TakesTheRestOfVersion2ForChildren) {
  const Bytes behind = Join({U32(16), support::Text("zzzz"), Fill(8, 5), Zeros(4)});
  CMp4AudioSampleEntry box;
  ASSERT_OK(ParseBox(box, Box("mp4a", {Audio(2), behind})));
  ASSERT_EQ(1u, box.GetChildBoxNum(FourCc("zzzz")));
  EXPECT_EQ(36, box.GetChildBox(0, 0)->position);
  CMp4AudioSampleEntry noBox;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(noBox, Box("mp4a", {Audio(2), Zeros(16)})));
}

}  // namespace
