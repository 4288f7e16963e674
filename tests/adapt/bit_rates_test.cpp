#include "adapt/bit_rates.h"

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
