#include "box/header_boxes.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CHintMediaHeaderBox;
using MP4G::CMediaHeaderBox;
using MP4G::CMovieHeaderBox;
using MP4G::CSoundMediaHeaderBox;
using MP4G::CTrackHeaderBox;
using MP4G::CVideoMediaHeaderBox;
using support::Bytes;
using support::Fill;
using support::FixAndWrite;
using support::FullBox;
using support::Join;
using support::ParseBox;
using support::SizeOf;
using support::U16;
using support::U32;
using support::U64;
using support::Zeros;

Bytes UnityMatrix() {
  return Join({U32(0x10000), Zeros(12), U32(0x10000), Zeros(12), U32(0x40000000)});
}

// What a new box, and one after Reset, writes.
template <class T>
void ExpectDefaults(const char* type, const Bytes& expected, const Bytes& other) {
  T fresh;
  fresh.SetClassType(support::ReadU32(support::Text(type), 0));
  EXPECT_EQ(expected, FixAndWrite(fresh));
  T used;
  used.SetClassType(fresh.GetClassType());
  ASSERT_OK(ParseBox(used, other));
  EXPECT_NE(expected, FixAndWrite(used));
  used.Reset();
  EXPECT_EQ(expected, FixAndWrite(used));
  ASSERT_OK(ParseBox(used, other));
  ASSERT_OK(used.Init());
  EXPECT_EQ(expected, FixAndWrite(used));
}

TEST(MovieHeaderBox, NewOneHasRateVolumeAndUnityMatrix) {
  ExpectDefaults<CMovieHeaderBox>(
      "mvhd",
      FullBox("mvhd", 0, 0,
              {Zeros(16), U32(0x10000), U16(0x100), Zeros(10), UnityMatrix(), Zeros(24), U32(0)}),
      FullBox("mvhd", 1, 5, {Fill(108, 0x77)}));
}

TEST(TrackHeaderBox, NewOneHasAUnityMatrixAndNothingElse) {
  ExpectDefaults<CTrackHeaderBox>(
      "tkhd", FullBox("tkhd", 0, 0, {Zeros(20), Zeros(16), UnityMatrix(), Zeros(8)}),
      FullBox("tkhd", 1, 5, {Fill(92, 0x77)}));
}

TEST(MediaHeaderBox, NewOneIsZero) {
  ExpectDefaults<CMediaHeaderBox>("mdhd", FullBox("mdhd", 0, 0, {Zeros(20)}),
                                  FullBox("mdhd", 1, 5, {Fill(32, 0x77)}));
}

TEST(VideoMediaHeaderBox, NewOneHasItsFlagSet) {
  ExpectDefaults<CVideoMediaHeaderBox>("vmhd", FullBox("vmhd", 0, 1, {Zeros(8)}),
                                       FullBox("vmhd", 1, 5, {Fill(8, 0x77)}));
}

TEST(SoundMediaHeaderBox, NewOneIsZero) {
  ExpectDefaults<CSoundMediaHeaderBox>("smhd", FullBox("smhd", 0, 0, {Zeros(4)}),
                                       FullBox("smhd", 1, 5, {Fill(4, 0x77)}));
}

TEST(HintMediaHeaderBox, NewOneIsZero) {
  ExpectDefaults<CHintMediaHeaderBox>("hmhd", FullBox("hmhd", 0, 0, {Zeros(16)}),
                                      FullBox("hmhd", 1, 5, {Fill(16, 0x77)}));
}

// A box of times: its narrow and its wide form, each with the record behind it.
template <class T>
void ExpectFormFollowsVersion(const char* type, const Bytes& narrow, const Bytes& wide,
                              const Bytes& record) {
  for (const unsigned int version : {0u, 1u, 2u, 255u}) {
    const Bytes& times = version == 1 ? wide : narrow;
    const Bytes bytes =
        FullBox(type, static_cast<std::uint8_t>(version), 0x123456, {times, record});
    T box;
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(0x111u, box.recordA->CreationTime());
    EXPECT_EQ(0xFFFFFFFEu, box.recordA->ModificationTime());
    EXPECT_EQ(0xFFFFFFFFu, box.recordA->Duration());
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(box));
    EXPECT_EQ(bytes, FixAndWrite(box)) << version;
  }
}

TEST(MovieHeaderBox, FormFollowsTheVersion) {
  ExpectFormFollowsVersion<CMovieHeaderBox>(
      "mvhd", Join({U32(0x111), U32(0xFFFFFFFE), U32(600), U32(0xFFFFFFFF)}),
      Join({U64(0x111), U64(0xFFFFFFFE), U32(600), U64(0xFFFFFFFF)}), Fill(80, 0xA5));
}

TEST(TrackHeaderBox, FormFollowsTheVersion) {
  ExpectFormFollowsVersion<CTrackHeaderBox>(
      "tkhd", Join({U32(0x111), U32(0xFFFFFFFE), U32(2), U32(0), U32(0xFFFFFFFF)}),
      Join({U64(0x111), U64(0xFFFFFFFE), U32(2), U32(0), U64(0xFFFFFFFF)}), Fill(60, 0xA5));
}

TEST(MediaHeaderBox, FormFollowsTheVersion) {
  ExpectFormFollowsVersion<CMediaHeaderBox>(
      "mdhd", Join({U32(0x111), U32(0xFFFFFFFE), U32(600), U32(0xFFFFFFFF)}),
      Join({U64(0x111), U64(0xFFFFFFFE), U32(600), U64(0xFFFFFFFF)}), Fill(4, 0xA5));
}

// Each record is taken whole or not at all.
template <class T>
void ExpectWholeRecords(const char* type, unsigned int version, unsigned int times,
                        unsigned int record) {
  const Bytes bytes =
      FullBox(type, static_cast<std::uint8_t>(version), 0, {Fill(times + record, 1)});
  for (unsigned int length = 12; length < bytes.size(); ++length) {
    T box;
    unsigned int left = 0;
    EXPECT_RESULT(S_FALSE, ParseBox(box, Bytes(bytes.data(), bytes.data() + length), &left));
    EXPECT_EQ(length - 12 < times ? length - 12 : length - 12 - times, left) << length;
    EXPECT_EQ(length - 12 < times ? 0u : 0x01010101u, box.recordA->CreationTime() & 0xFFFFFFFF);
  }
}

TEST(MovieHeaderBox, TakesWholeRecords) {
  ExpectWholeRecords<CMovieHeaderBox>("mvhd", 0, 16, 80);
  ExpectWholeRecords<CMovieHeaderBox>("mvhd", 1, 28, 80);
}

TEST(TrackHeaderBox, TakesWholeRecords) {
  ExpectWholeRecords<CTrackHeaderBox>("tkhd", 0, 20, 60);
  ExpectWholeRecords<CTrackHeaderBox>("tkhd", 1, 32, 60);
}

TEST(MediaHeaderBox, TakesWholeRecords) {
  ExpectWholeRecords<CMediaHeaderBox>("mdhd", 0, 16, 4);
  ExpectWholeRecords<CMediaHeaderBox>("mdhd", 1, 28, 4);
}

TEST(MovieHeaderBox, HasTheFieldsOfTheFormat) {
  CMovieHeaderBox box;
  ASSERT_OK(
      ParseBox(box, FullBox("mvhd", 0, 0,
                            {U32(1), U32(2), U32(3), U32(4), U32(5), U16(6), U16(7), U64(8), U32(9),
                             Zeros(28), U32(10), U32(11), Zeros(16), U32(12), U32(13)})));
  EXPECT_EQ(1u, box.recordA->creationTime);
  EXPECT_EQ(2u, box.recordA->modificationTime);
  EXPECT_EQ(3u, box.recordA->timeScale);
  EXPECT_EQ(4u, box.recordA->duration);
  EXPECT_EQ(5u, box.recordB->rate);
  EXPECT_EQ(6u, box.recordB->volume);
  EXPECT_EQ(7u, box.recordB->reserved1);
  EXPECT_EQ(8u, box.recordB->reserved2);
  EXPECT_EQ(9u, box.recordB->matrix[0]);
  EXPECT_EQ(10u, box.recordB->matrix[8]);
  EXPECT_EQ(11u, box.recordB->preDefined[0]);
  EXPECT_EQ(12u, box.recordB->preDefined[5]);
  EXPECT_EQ(13u, box.recordB->nextTrackId);
}

TEST(TrackHeaderBox, HasTheFieldsOfTheFormat) {
  CTrackHeaderBox box;
  ASSERT_OK(
      ParseBox(box, FullBox("tkhd", 1, 0,
                            {U64(1), U64(2), U32(3), U32(4), U64(5), U64(6), U16(7), U16(8), U16(9),
                             U16(10), U32(11), Zeros(28), U32(12), U32(13), U32(14)})));
  EXPECT_EQ(1u, box.recordA->creationTime);
  EXPECT_EQ(2u, box.recordA->modificationTime);
  EXPECT_EQ(3u, box.recordA->trackId);
  EXPECT_EQ(4u, box.recordA->reserved);
  EXPECT_EQ(5u, box.recordA->duration);
  EXPECT_EQ(6u, box.recordB->reserved1);
  EXPECT_EQ(7u, box.recordB->layer);
  EXPECT_EQ(8u, box.recordB->alternateGroup);
  EXPECT_EQ(9u, box.recordB->volume);
  EXPECT_EQ(10u, box.recordB->reserved2);
  EXPECT_EQ(11u, box.recordB->matrix[0]);
  EXPECT_EQ(12u, box.recordB->matrix[8]);
  EXPECT_EQ(13u, box.recordB->width);
  EXPECT_EQ(14u, box.recordB->height);
}

TEST(MediaHeaderBox, HasTheFieldsOfTheFormat) {
  CMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(3), U32(4), U16(5), U16(6)})));
  EXPECT_EQ(3u, box.recordA->timeScale);
  EXPECT_EQ(5u, box.recordB->language);
  EXPECT_EQ(6u, box.recordB->preDefined);
}

TEST(TrackHeaderBox, DropsTheReservedWordOfTheNarrowFormAlone) {
  const Bytes tail = Fill(60, 0x5A);
  CTrackHeaderBox narrow;
  ASSERT_OK(
      ParseBox(narrow, FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(3), U32(9), U32(5), tail})));
  EXPECT_EQ(FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(3), U32(0), U32(5), tail}),
            FixAndWrite(narrow));
  const Bytes bytes = FullBox("tkhd", 1, 3, {U64(1), U64(2), U32(3), U32(9), U64(5), tail});
  CTrackHeaderBox wide;
  ASSERT_OK(ParseBox(wide, bytes));
  EXPECT_EQ(bytes, FixAndWrite(wide));
  wide.fullHeader->version = 0;
  EXPECT_EQ(FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(3), U32(0), U32(5), tail}),
            FixAndWrite(wide));
}

TEST(MediaHeaderBox, LosesTheHighHalvesInTheNarrowForm) {
  CMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(3), U32(4), U32(5)})));
  box.recordA->creationTime = 0xAAAABBBBCCCC;
  box.recordA->modificationTime = 0x100000000;
  box.recordA->duration = 0x1234567890;
  EXPECT_EQ(0x1234567890u, box.recordA->Duration());
  EXPECT_EQ(FullBox("mdhd", 0, 0, {U32(0xBBBBCCCC), U32(0), U32(3), U32(0x34567890), U32(5)}),
            FixAndWrite(box));
  EXPECT_EQ(0u, box.fullHeader->version);
  box.fullHeader->version = 1;
  EXPECT_EQ(FullBox("mdhd", 1, 0,
                    {U64(0xAAAABBBBCCCC), U64(0x100000000), U32(3), U64(0x1234567890), U32(5)}),
            FixAndWrite(box));
}

TEST(MediaHeaderBox, ReadsTheNarrowFormOverAWideOne) {
  CMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mdhd", 1, 0, {Fill(32, 0xFF)})));
  ASSERT_OK(ParseBox(box, FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(3), U32(4), U32(5)})));
  EXPECT_EQ(1u, box.recordA->CreationTime());
  EXPECT_EQ(2u, box.recordA->ModificationTime());
  EXPECT_EQ(4u, box.recordA->Duration());
}

TEST(MovieHeaderBox, StoresAMatrixInTheOrderGiven) {
  CMovieHeaderBox box;
  box.recordB->SetMatrix(1, 2, 3, 4, 5, 6, 7, 8, 0x01020304);
  const auto* stored = reinterpret_cast<const unsigned char*>(box.recordB) + 16;
  EXPECT_EQ(Join({U32(1), U32(2), U32(3), U32(4), U32(5), U32(6), U32(7), U32(8), U32(0x01020304)}),
            Bytes(stored, stored + 36));
}

TEST(TrackHeaderBox, StoresAMatrixInTheOrderGiven) {
  CTrackHeaderBox box;
  box.recordB->SetMatrix(1, 2, 3, 4, 5, 6, 7, 8, 0x01020304);
  const auto* stored = reinterpret_cast<const unsigned char*>(box.recordB) + 16;
  EXPECT_EQ(Join({U32(1), U32(2), U32(3), U32(4), U32(5), U32(6), U32(7), U32(8), U32(0x01020304)}),
            Bytes(stored, stored + 36));
}

TEST(HeaderBoxes, ZeroBehindTheirFieldsAndKeepTheirLength) {
  for (const char* type : {"mvhd", "tkhd", "mdhd", "vmhd", "smhd", "hmhd", "nmhd"}) {
    const auto box = support::MakeBox(type);
    ASSERT_OK(box->FixParam());
    const long long length = SizeOf(*box);
    Bytes bytes;
    ASSERT_OK(support::WriteBox(*box, static_cast<std::size_t>(length), &bytes));
    const Bytes longer =
        support::WithU32(Join({bytes, Fill(3, 0xFF)}), 0, static_cast<std::uint32_t>(length + 3));
    const auto parsed = support::MakeBox(type);
    ASSERT_OK(ParseBox(*parsed, longer));
    EXPECT_EQ(support::WithU32(Join({bytes, Zeros(3)}), 0, static_cast<std::uint32_t>(length + 3)),
              FixAndWrite(*parsed))
        << type;
  }
}

TEST(VideoMediaHeaderBox, KeepsTheFlagsOfTheFile) {
  const Bytes bytes = FullBox("vmhd", 3, 0, {U16(1), U16(2), U16(3), U16(4)});
  CVideoMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(1u, box.record->graphicsMode);
  EXPECT_EQ(2u, box.record->opColor[0]);
  EXPECT_EQ(4u, box.record->opColor[2]);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(SoundMediaHeaderBox, HasTheFieldsOfTheFormat) {
  CSoundMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("smhd", 0, 0, {U16(1), U16(2)})));
  EXPECT_EQ(1u, box.record->balance);
  EXPECT_EQ(2u, box.record->reserved);
}

TEST(HintMediaHeaderBox, HasTheFieldsOfTheFormat) {
  CHintMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("hmhd", 0, 0, {U16(1), U16(2), U32(3), U32(4), U32(5)})));
  EXPECT_EQ(1u, box.record->maxPduSize);
  EXPECT_EQ(2u, box.record->avgPduSize);
  EXPECT_EQ(3u, box.record->maxBitrate);
  EXPECT_EQ(4u, box.record->avgBitrate);
  EXPECT_EQ(5u, box.record->reserved);
}

}  // namespace
