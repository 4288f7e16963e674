#include "box/es_descriptor_box.h"

#include "support/box_checks.h"
#include "support/box_io.h"
#include "support/descriptor_io.h"

namespace {

using MP4G::CAudioSpecificConfig;
using MP4G::CESDBox;
using support::Bytes;
using support::DecoderConfig;
using support::Descriptor;
using support::EsDescriptor;
using support::ExpectNeedsEveryByte;
using support::Fill;
using support::FixAndWrite;
using support::FullBox;
using support::Hex;
using support::MakeBox;
using support::operator+;
using support::ParseBox;
using support::SizeOf;
using support::SlConfig;
using support::U16;
using support::U8;
using support::WithU32;
using support::WriteBox;
using support::Zeros;

// The descriptors of an AAC stream.
Bytes Audio() {
  return EsDescriptor({DecoderConfig(0x40, {Descriptor(5, {Hex("11 90")})}), SlConfig()});
}

TEST(EsDescriptorBox, FactoryMakesOneWithAnEmptyEsDescriptor) {
  const auto box = MakeBox("esds");
  const auto* esds = dynamic_cast<CESDBox*>(box.get());
  ASSERT_NE(nullptr, esds);
  ASSERT_NE(nullptr, esds->descriptor);
  EXPECT_EQ(3u, esds->descriptor->tag);
  EXPECT_EQ(FullBox("esds", 0, 0, {Hex("03 03 0000 00")}), FixAndWrite(*box));
}

TEST(EsDescriptorBox, ReadsTheTreeAndGivesItBack) {
  const Bytes bytes = FullBox("esds", 1, 0x010203, {Audio()});
  CESDBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(1u, box.descriptor->record->esId);
  auto* config = box.descriptor->GetChildDescriptor(4);
  ASSERT_NE(nullptr, config);
  const auto* audio = dynamic_cast<CAudioSpecificConfig*>(config->GetChildDescriptor(5));
  ASSERT_NE(nullptr, audio);
  EXPECT_EQ(Hex("11 90"), audio->data);
  EXPECT_EQ(bytes, FixAndWrite(box));
  ExpectNeedsEveryByte(bytes);
}

TEST(EsDescriptorBox, EveryOperationNeedsInit) {
  CESDBox box;
  EXPECT_RESULT(E_POINTER, ParseBox(box, FullBox("esds", 0, 0, {Audio()})));
  EXPECT_RESULT(E_POINTER, box.FixParam());
  long long total = 0;
  EXPECT_RESULT(E_POINTER, box.GetDataSize(&total));
  EXPECT_RESULT(E_POINTER, WriteBox(box, 100));
  ASSERT_OK(box.Init());
  EXPECT_RESULT(E_POINTER, box.GetDataSizeImpl(nullptr));
  EXPECT_OK(ParseBox(box, FullBox("esds", 0, 0, {Audio()})));
}

TEST(EsDescriptorBox, ResetDropsTheDescriptorAndKeepsVersionAndFlags) {
  CESDBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, FullBox("esds", 7, 0x0A0B0C, {Audio()})));
  box.Reset();
  EXPECT_EQ(nullptr, box.descriptor);
  EXPECT_EQ(0u, box.header->size);
  EXPECT_EQ(7u, box.fullHeader->version);
  EXPECT_EQ(0x0A0B0Cu, box.fullHeader->flags);
  ASSERT_OK(box.Init());
  EXPECT_EQ(3u, box.descriptor->tag);
  EXPECT_TRUE(box.descriptor->children.empty());
}

TEST(EsDescriptorBox, ParsingAgainReplacesTheDescriptors) {
  CESDBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, FullBox("esds", 0, 0, {Audio()})));
  ASSERT_OK(ParseBox(box, FullBox("esds", 0, 0, {EsDescriptor({SlConfig()})})));
  EXPECT_EQ(1u, box.descriptor->children.size());
}

TEST(EsDescriptorBox, BytesBehindTheDescriptorsBecomeZeros) {
  CESDBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, FullBox("esds", 0, 0, {Audio(), Fill(5, 0xAB)})));
  EXPECT_EQ(FullBox("esds", 0, 0, {Audio(), Zeros(5)}), FixAndWrite(box));
}

TEST(EsDescriptorBox, DescriptorsThatRunOverTheBoxAreBadData) {
  const Bytes whole = FullBox("esds", 0, 0, {Audio()});
  const Bytes bytes =
      WithU32(whole, 0, static_cast<std::uint32_t>(whole.size()) - 1) + Fill(20, 0xAB);
  CESDBox box;
  ASSERT_OK(box.Init());
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, bytes));
}

TEST(EsDescriptorBox, FixParamDropsUnknownDescriptorsAndShrinksTheBox) {
  CESDBox box;
  ASSERT_OK(box.Init());
  const Bytes unknown = Descriptor(0x0E, {Fill(300, 1)});
  ASSERT_OK(ParseBox(box, FullBox("esds", 0, 0, {EsDescriptor({unknown, SlConfig()})})));
  // The length field of the ES descriptor keeps its two bytes.
  EXPECT_EQ(FullBox("esds", 0, 0, {Hex("03 80 06 0001 00"), SlConfig()}), FixAndWrite(box));
}

TEST(EsDescriptorBox, LengthsThatWrapStayInsideTheBuffer) {
  for (const char* text :
       {"03 8F FF FF FF 7F 0001 00", "03 8F FF FF FF 7F 0001 00 05 8F FF FF FF 7F",
        "03 FF FF FF FF 7F 0001 00 0A FF FF FF FF FF FF 7F",
        "03 05 0001 00 0A 8F FF FF FF 7F 01"}) {
    SCOPED_TRACE(text);
    CESDBox box;
    ASSERT_OK(box.Init());
    EXPECT_RESULT(S_FALSE, ParseBox(box, FullBox("esds", 0, 0, {Hex(text)})));
  }
}

TEST(EsDescriptorBox, LengthWithoutEndIsShort) {
  CESDBox box;
  ASSERT_OK(box.Init());
  EXPECT_RESULT(S_FALSE, ParseBox(box, FullBox("esds", 0, 0, {U8(3), Fill(1000000, 0x80)})));
  EXPECT_EQ(1000000u, box.descriptor->lengthFieldSize);
}

TEST(EsDescriptorBox, LongLengthFieldKeepsItsWidth) {
  const Bytes bytes = FullBox("esds", 0, 0, {U8(3), Fill(100000, 0x80), U8(3), Zeros(3)});
  CESDBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, bytes));
  const Bytes written = FixAndWrite(box);
  ASSERT_EQ(bytes.size(), written.size());
  // Within 32 bits the number is the same; further up its shifts come round.
  EXPECT_EQ(Bytes(bytes.end() - 8, bytes.end()), Bytes(written.end() - 8, written.end()));
}

TEST(EsDescriptorBox, SlDescriptorThatReportsAByteMoreLeavesIt) {
  // 12 bits a stamp: 3 bytes in the size, 2 in the writing.
  const Bytes sl = Descriptor(6, {Hex("00 00 00000000 00000000 0C 0000000000"), U8(0), U8(0)});
  CESDBox box;
  ASSERT_OK(box.Init());
  ASSERT_OK(ParseBox(box, FullBox("esds", 0, 0, {EsDescriptor({sl})})));
  ASSERT_OK(box.FixParam());
  const auto size = static_cast<std::size_t>(SizeOf(box));
  Bytes written;
  EXPECT_OK(WriteBox(box, size, &written));
  EXPECT_EQ(size - 1, written.size());
  EXPECT_EQ(size, support::ReadU32(written, 0));
}

}  // namespace
