#include "adapt/boxes/bit_rates.h"

#include <gtest/gtest.h>

namespace {

using clipchain::Bytes;
using clipchain::RateField;

// "stsd" with one entry, as a body.
Bytes Descriptions(const Bytes& entry) {
  Bytes bytes = {0, 0, 0, 0, 0, 0, 0, 1};
  bytes.insert(bytes.end(), entry.begin(), entry.end());
  return bytes;
}

Bytes Entry(const char (&type)[5], std::size_t fields, const Bytes& boxes) {
  Bytes bytes = {0, 0, 0, static_cast<unsigned char>(8 + fields + boxes.size())};
  bytes.insert(bytes.end(), type, type + 4);
  bytes.resize(8 + fields);
  bytes.insert(bytes.end(), boxes.begin(), boxes.end());
  return bytes;
}

const Bytes kRates = {0, 0, 0, 20, 'b', 't', 'r', 't', 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0};
// Version, an ES descriptor without flags, a decoder configuration of sound.
const Bytes kDescriptor = {0,  0,    0,    35, 'e', 's', 'd', 's', 0, 0, 0, 0, 3, 21, 0, 1, 0,   4,
                           16, 0x40, 0x15, 0,  2,   0,   0,   0,   4, 0, 0, 0, 3, 0,  5, 1, 0x12};

TEST(BitRates, AreFoundInAPicturesBox) {
  const Bytes stsd = Descriptions(Entry("hvc1", 78, kRates));
  const auto fields = clipchain::RateFieldsOf(stsd);
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0].kind, RateField::Kind::kBuffer);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[0]), 0x100u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[1]), 0x200u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[2]), 0x300u);
}

TEST(BitRates, AreFoundInASoundsDescriptor) {
  const Bytes stsd = Descriptions(Entry("mp4a", 28, kDescriptor));
  const auto fields = clipchain::RateFieldsOf(stsd);
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0].width, 3u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[0]), 0x200u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[1]), 0x400u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[2]), 0x300u);
}

TEST(BitRates, AreFoundBehindTheFontsOfTimedText) {
  Bytes boxes = {0, 0, 0, 10, 'f', 't', 'a', 'b', 0, 0};
  boxes.insert(boxes.end(), kRates.begin(), kRates.end());
  const Bytes stsd = Descriptions(Entry("tx3g", 38, boxes));
  ASSERT_EQ(clipchain::RateFieldsOf(stsd).size(), 3u);
  EXPECT_EQ(clipchain::RateAt(stsd, clipchain::RateFieldsOf(stsd)[1]), 0x200u);
}

// STREAMINFO of sound of 44100 Hz, 2 channels and 16 bits.
Bytes StreamInfo(unsigned char least, unsigned char most, unsigned char count, unsigned char md5) {
  Bytes box = {0, 0,    0, 50, 'd', 'f', 'L', 'a', 0, 0,    0,    0,    0x80, 0, 0, 34, 0x10,
               0, 0x10, 0, 0,  0,   0,   0,   0,   0, 0x0A, 0xC4, 0x42, 0xF1, 0, 0, 0,  0};
  box[22] = least;
  box[25] = most;
  box[33] = count;
  box.resize(50, md5);
  return box;
}

TEST(BitRates, OfFramesAreFoundInStreamInfo) {
  const Bytes stsd = Descriptions(Entry("fLaC", 28, StreamInfo(7, 9, 200, 3)));
  const auto fields = clipchain::RateFieldsOf(stsd);
  ASSERT_EQ(fields.size(), 5u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[0]), 7u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[1]), 9u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[2]), 0x1000000C8u);
  EXPECT_EQ(clipchain::RateAt(stsd, fields[4]), 0x0303030303030303u);
  Bytes other = Descriptions(Entry("fLaC", 28, StreamInfo(70, 90, 20, 30)));
  EXPECT_EQ(clipchain::WithoutBitRates(stsd), clipchain::WithoutBitRates(other));
  // The size of a sample shares a byte with their number.
  other[other.size() - 21] ^= 0x10;
  EXPECT_NE(clipchain::WithoutBitRates(stsd), clipchain::WithoutBitRates(other));
  // Another block comes first.
  other = Descriptions(Entry("fLaC", 28, StreamInfo(7, 9, 200, 3)));
  other[other.size() - 38] ^= 4;
  EXPECT_TRUE(clipchain::RateFieldsOf(other).empty());
}

TEST(BitRates, AreFoundInCookiesAndInSoundOfSeveralStreams) {
  Bytes cookie = {0, 0, 0, 36, 'a', 'l', 'a', 'c'};
  for (unsigned char i = 0; i < 28; ++i) cookie.push_back(i);
  const Bytes lossless = Descriptions(Entry("alac", 28, cookie));
  const auto fields = clipchain::RateFieldsOf(lossless);
  ASSERT_EQ(fields.size(), 2u);
  EXPECT_EQ(clipchain::RateAt(lossless, fields[0]), 0x10111213u);
  EXPECT_EQ(clipchain::RateAt(lossless, fields[1]), 0x14151617u);
  Bytes streams =
      Descriptions(Entry("ec-3", 28, {0, 0, 0, 13, 'd', 'e', 'c', '3', 0x06, 0x01, 0x20, 0x0F, 0}));
  ASSERT_EQ(clipchain::RateFieldsOf(streams).size(), 1u);
  const RateField rate = clipchain::RateFieldsOf(streams)[0];
  EXPECT_EQ(clipchain::RateAt(streams, rate), 0xC0u);
  clipchain::SetRate(streams, rate, 0x1FFF);
  EXPECT_EQ(streams[streams.size() - 5], 0xFF);
  EXPECT_EQ(streams[streams.size() - 4], 0xF9);
}

// A box of 50 bytes in sound ends where the boxes of pictures begin.
TEST(BitRates, OfSoundAreFoundWhereverItsBoxesEnd) {
  Bytes boxes = StreamInfo(7, 9, 200, 3);
  boxes.insert(boxes.end(), kRates.begin(), kRates.end());
  EXPECT_EQ(clipchain::RateFieldsOf(Descriptions(Entry("fLaC", 28, boxes))).size(), 8u);
}

TEST(BitRates, OfTwoPartsAreTrueOfBoth) {
  using Kind = RateField::Kind;
  EXPECT_EQ(clipchain::RateOfBoth(Kind::kMost, 0, 5), 5u);
  EXPECT_EQ(clipchain::RateOfBoth(Kind::kLeastKnown, 3, 5), 3u);
  EXPECT_EQ(clipchain::RateOfBoth(Kind::kLeastKnown, 0, 5), 0u);
  EXPECT_EQ(clipchain::RateOfBoth(Kind::kMostKnown, 3, 5), 5u);
  EXPECT_EQ(clipchain::RateOfBoth(Kind::kMostKnown, 3, 0), 0u);
  EXPECT_EQ(clipchain::RateOfBoth(Kind::kOfOneClip, 5, 5), 0u);
}

TEST(BitRates, AreAllThatIsLeftOut) {
  const Bytes a = Descriptions(Entry("hvc1", 78, kRates));
  Bytes b = a;
  for (const RateField& field : clipchain::RateFieldsOf(a)) clipchain::SetRate(b, field, 77);
  EXPECT_NE(a, b);
  EXPECT_EQ(clipchain::WithoutBitRates(a), clipchain::WithoutBitRates(b));
  b[b.size() - 13] ^= 1;  // in the type of the box, which is another one then
  EXPECT_NE(clipchain::WithoutBitRates(a), clipchain::WithoutBitRates(b));
}

TEST(BitRates, OfABoxOfTheirOwnMayBeMissing) {
  Bytes twice = kRates;
  twice.insert(twice.end(), kRates.begin(), kRates.end());
  const Bytes bare = clipchain::WithoutRateBoxes(Descriptions(Entry("hvc1", 78, {})));
  EXPECT_EQ(clipchain::WithoutRateBoxes(Descriptions(Entry("hvc1", 78, kRates))), bare);
  EXPECT_EQ(clipchain::WithoutRateBoxes(Descriptions(Entry("hvc1", 78, twice))), bare);
  EXPECT_NE(clipchain::WithoutRateBoxes(Descriptions(Entry("hvc1", 79, kRates))), bare);
}

TEST(BitRates, OfDamagedDescriptionsAreNone) {
  const Bytes whole = Descriptions(Entry("mp4a", 28, kDescriptor));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(clipchain::WithoutBitRates(cut), cut);
    EXPECT_EQ(clipchain::WithoutRateBoxes(cut), cut);
  }
}

}  // namespace
