#include "workflow/boxes/box_difference.h"

#include <gtest/gtest.h>

#include "box/box_factory.h"
#include "support/movie_builder.h"

using clipchain::BoxDifference;
using clipchain::FirstDifference;
using support::Box;
using support::Bytes;
using support::Hex;
using support::operator+;

namespace {

class BoxDifferences : public testing::Test {
 protected:
  static std::unique_ptr<MP4G::CBox> Parse(const Bytes& bytes) {
    MP4G::CBox* box = nullptr;
    const unsigned int type = support::ReadU32(bytes, 4);
    EXPECT_EQ(S_OK, MP4G::CBoxFactory::CreateBox<MP4G::CBox>(type, &box));
    const unsigned char* in = bytes.data();
    unsigned int rest = static_cast<unsigned int>(bytes.size());
    EXPECT_EQ(S_OK, box->SetData(in, rest));
    return std::unique_ptr<MP4G::CBox>(box);
  }

  // The field and its values, as one text.
  static std::string Compare(const Bytes& first, const Bytes& second) {
    const auto a = Parse(first);
    const auto b = Parse(second);
    const auto difference = FirstDifference(*a, *b);
    if (!difference) return "";
    return FourCcText(difference->box->header->type) + ' ' + difference->field + ": " +
           difference->first + ", " + difference->second;
  }

  // The entry with more boxes inside.
  static Bytes Longer(const Bytes& entry, const Bytes& more) {
    return support::WithU32(entry + more, 0,
                            static_cast<std::uint32_t>(entry.size() + more.size()));
  }
  static Bytes Changed(Bytes bytes, std::size_t at, unsigned char value) {
    bytes[at] = value;
    return bytes;
  }

  const Bytes avc = support::AvcEntry();
  const Bytes audio = support::AudioEntry();
};

}  // namespace

TEST_F(BoxDifferences, AreNoneBetweenEqualBoxes) {
  EXPECT_EQ("", Compare(avc, avc));
  EXPECT_EQ("", Compare(audio, audio));
}

TEST_F(BoxDifferences, NameTheFieldsOfAPicture) {
  EXPECT_EQ("avc1 width: 640, 641", Compare(avc, Changed(avc, 33, 0x81)));
  EXPECT_EQ("avc1 height: 360, 361", Compare(avc, Changed(avc, 35, 0x69)));
  EXPECT_EQ("avc1 horizresolution: 72, 73", Compare(avc, Changed(avc, 37, 73)));
  EXPECT_EQ("avc1 compressorname: \"\", \"x\"", Compare(avc, Changed(avc, 51, 'x')));
  EXPECT_EQ("avc1 data_reference_index: 1, 2", Compare(avc, Changed(avc, 15, 2)));
  EXPECT_EQ("avc1 depth: 24, 32", Compare(avc, Changed(avc, 83, 32)));
}

TEST_F(BoxDifferences, NameTheFieldsOfSound) {
  EXPECT_EQ("mp4a channelcount: 2, 1", Compare(audio, Changed(audio, 25, 1)));
  EXPECT_EQ("mp4a samplesize: 16, 24", Compare(audio, Changed(audio, 27, 24)));
  EXPECT_EQ("mp4a samplerate: 48000, 48001", Compare(audio, Changed(audio, 33, 0x81)));
}

TEST_F(BoxDifferences, NameTheFieldsOfADecoderConfiguration) {
  const auto with = [](const char* digits) { return support::AvcEntry(Hex(digits)); };
  const char* plain = "01640028FFE1000467640028 01000468EE3CB0";
  EXPECT_EQ("avcC AVCProfileIndication: 100, 77",
            Compare(with(plain), with("014D0028FFE1000467640028 01000468EE3CB0")));
  EXPECT_EQ("avcC AVCLevelIndication: 40, 41",
            Compare(with(plain), with("01640029FFE1000467640028 01000468EE3CB0")));
  EXPECT_EQ("avcC sequence parameter set 1, byte 19: 2801000468EE3CB0, 2901000468EE3CB0",
            Compare(with(plain), with("01640028FFE1000467640029 01000468EE3CB0")));
  EXPECT_EQ("avcC picture parameter set 1, byte 26: B0, B1",
            Compare(with(plain), with("01640028FFE1000467640028 01000468EE3CB1")));
}

TEST_F(BoxDifferences, NameABoxThatIsThereOnOneSide) {
  const Bytes longer = Longer(avc, Box("pasp", {support::U32(1), support::U32(1)}));
  EXPECT_EQ("pasp the box: nothing, \"pasp\"", Compare(avc, longer));
  EXPECT_EQ("avc1 the next box in it: \"pasp\", nothing", Compare(longer, avc));
}

TEST_F(BoxDifferences, NameBoxesOfOtherTypes) {
  EXPECT_EQ("mp4a type: \"avc1\", \"mp4a\"", Compare(avc, audio));
  const Bytes square = Longer(avc, Box("pasp", {support::U32(1), support::U32(1)}));
  const Bytes wide = Longer(avc, Box("pasp", {support::U32(4), support::U32(3)}));
  EXPECT_EQ("pasp hSpacing: 1, 4", Compare(square, wide));
}

TEST_F(BoxDifferences, NameTheFieldsOfDescriptors) {
  const std::size_t esds = support::FindBox(audio, "esds");
  const auto at = [esds](std::size_t offset) { return esds + 12 + offset; };
  EXPECT_EQ("esds ES_ID: 2, 3", Compare(audio, Changed(audio, at(3), 3)));
  EXPECT_EQ("esds streamType: 21, 22", Compare(audio, Changed(audio, at(8), 0x16)));
  EXPECT_EQ("esds bufferSizeDB: 768, 769", Compare(audio, Changed(audio, at(11), 1)));
  EXPECT_EQ("esds maxBitrate: 128000, 128001", Compare(audio, Changed(audio, at(15), 1)));
  EXPECT_EQ("esds avgBitrate: 128000, 128001", Compare(audio, Changed(audio, at(19), 1)));
  EXPECT_EQ("esds DecoderSpecificInfo: 1190, 1188", Compare(audio, Changed(audio, at(23), 0x88)));
}

TEST_F(BoxDifferences, NameTheFieldsOfBoxesInsideOfAnEntry) {
  const auto rates = [this](std::uint32_t most) {
    return Longer(avc, Box("btrt", {support::U32(1000), support::U32(most), support::U32(1500)}));
  };
  EXPECT_EQ("btrt maxBitrate: 2000, 2001", Compare(rates(2000), rates(2001)));
  const auto colours = [this](const char* kind, std::uint16_t primaries) {
    return Longer(avc, Box("colr", {support::Text(kind), support::U16(primaries), support::U16(1),
                                    support::U16(1), support::U8(0x80)}));
  };
  EXPECT_EQ("colr colour_primaries: 1, 9", Compare(colours("nclx", 1), colours("nclx", 9)));
  EXPECT_EQ("colr colour_type: \"nclx\", \"nclc\"",
            Compare(colours("nclx", 1), colours("nclc", 1)));
}

TEST_F(BoxDifferences, NameTheFieldsOfATimecode) {
  const auto entry = [](std::uint32_t duration, std::uint8_t frames) {
    return Box("tmcd",
               {support::Zeros(6), support::U16(1), support::U32(0), support::U32(1),
                support::U32(30000), support::U32(duration), support::U8(frames), support::U8(0)});
  };
  EXPECT_EQ("tmcd frame duration: 1001, 1000", Compare(entry(1001, 30), entry(1000, 30)));
  EXPECT_EQ("tmcd number of frames: 30, 25", Compare(entry(1001, 30), entry(1001, 25)));
}

TEST_F(BoxDifferences, SayHowManyBytesAreAtAnEnd) {
  const auto with = [this](std::size_t more) {
    return Longer(avc, Box("pasp", {support::U32(1), support::U32(1), support::Zeros(more)}));
  };
  EXPECT_EQ("pasp the number of bytes at its end: 4, 6", Compare(with(4), with(6)));
}

TEST_F(BoxDifferences, CutLongValues) {
  const auto with = [](std::uint8_t last) {
    const Bytes info = support::Fill(39, 0x11) + support::U8(last);
    const Bytes decoder = Hex("04 37 40 15 000300 0001F400 0001F400 05 28") + info;
    const Bytes esds = support::FullBox("esds", 0, 0, {Hex("03 3C 0002 00"), decoder});
    return Box("mp4a", {support::Zeros(6), support::U16(1), support::Zeros(8), support::U16(2),
                        support::U16(16), support::Zeros(4), support::U32(48000u << 16), esds});
  };
  const std::string shown(64, '1');
  EXPECT_EQ("esds DecoderSpecificInfo: " + shown + "..., " + shown + "...",
            Compare(with(1), with(2)));
}

TEST_F(BoxDifferences, CountPictureParameterSets) {
  const auto with = [](const char* digits) { return support::AvcEntry(Hex(digits)); };
  EXPECT_EQ("avcC numOfPictureParameterSets, byte 20: 01000468EE3CB0, 00",
            Compare(with("01640028FFE1000467640028 01000468EE3CB0"),
                    with("01640028FFE1000467640028 00")));
}
