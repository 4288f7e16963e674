#include <string>

#include "box/descriptors.h"
#include "support/descriptor_io.h"

namespace {

using MP4G::CBaseDescriptor;
using MP4G::CDecoderSpecificInfo;
using MP4G::CEsDescriptor;
using MP4G::CUnknownDescriptor;
using support::Bytes;
using support::ChosenDescriptor;
using support::DecoderConfig;
using support::Descriptor;
using support::EsDescriptor;
using support::Fill;
using support::Hex;
using support::ParseDescriptor;
using support::SlConfig;
using support::U16;
using support::U8;
using support::WriteDescriptor;
using support::Written;
using support::operator+;

TEST(BaseDescriptor, FixParamDropsUnknownTagsAndTheirBytes) {
  const Bytes unknown = Descriptor(0x0A, {Fill(3, 0xAB)});
  CEsDescriptor es;
  unsigned int left = 1;
  ASSERT_OK(ParseDescriptor(
      es, EsDescriptor({unknown, DecoderConfig(0x21), unknown, SlConfig(), unknown}), &left));
  EXPECT_EQ(0u, left);
  EXPECT_EQ(5u, es.children.size());
  ASSERT_OK(es.FixParam());
  EXPECT_EQ(2u, es.children.size());
  EXPECT_EQ(EsDescriptor({DecoderConfig(0x21), SlConfig()}), Written(es));
}

TEST(BaseDescriptor, FixParamKeepsExactlyTheFourKnownTags) {
  CBaseDescriptor parent;
  for (unsigned int tag = 0; tag < 256; ++tag)
    ASSERT_OK(parent.AddChildDescriptor(static_cast<unsigned char>(tag)));
  ASSERT_OK(parent.FixParam());
  std::string kept;
  for (const auto& [key, child] : parent.children) kept += std::to_string(child->tag) + " ";
  EXPECT_EQ("3 4 5 6 ", kept);
}

TEST(BaseDescriptor, UnknownDescriptorIsItsHeaderAlone) {
  const Bytes bytes = Hex("0A 80 03 01 02 03");
  CUnknownDescriptor descriptor;
  unsigned int left = 1;
  ASSERT_OK(ParseDescriptor(descriptor, bytes, &left));
  EXPECT_EQ(0u, left);
  EXPECT_EQ(Hex("0A 80 03"), Written(descriptor));
  for (std::size_t length = 0; length < bytes.size(); ++length)
    EXPECT_RESULT(S_FALSE, ParseDescriptor(descriptor, Bytes(bytes.data(), bytes.data() + length)));
  ASSERT_OK(ParseDescriptor(descriptor, bytes));
  ASSERT_OK(descriptor.FixParam());
  EXPECT_EQ(Hex("0A 80 00"), Written(descriptor));
}

TEST(BaseDescriptor, EmptyPayloadStaysEmptyInItsWidth) {
  for (const char* text : {"05 00", "05 80 80 80 00"}) {
    CDecoderSpecificInfo info;
    ASSERT_OK(ParseDescriptor(info, Hex(text)));
    ASSERT_OK(info.FixParam());
    EXPECT_EQ(0u, info.payloadSize);
    EXPECT_EQ(Hex(text), Written(info));
  }
}

TEST(BaseDescriptor, LengthFieldGrowsWithThePayloadAndNeverShrinks) {
  const struct {
    std::size_t payload;
    unsigned int before, after;
  } cases[] = {{0, 0, 0},       {0, 1, 1},     {1, 0, 1},     {127, 1, 1},
               {128, 1, 2},     {16383, 1, 2}, {16384, 1, 3}, {2097151, 1, 3},
               {2097152, 1, 4}, {127, 4, 4},   {16384, 4, 4}, {1, 9, 9}};
  for (const auto& [payload, before, after] : cases) {
    SCOPED_TRACE(testing::Message() << payload << " bytes, field of " << before);
    CDecoderSpecificInfo info;
    info.data.assign(payload, 1);
    info.lengthFieldSize = before;
    ASSERT_OK(info.FixParam());
    EXPECT_EQ(payload, info.payloadSize);
    EXPECT_EQ(after, info.lengthFieldSize);
  }
}

TEST(BaseDescriptor, LengthFieldHasUpToFiveGroupsAndBeyond32BitsIsRefused) {
  ChosenDescriptor descriptor;
  descriptor.size = 0xFFFFFFFFLL + 2;
  ASSERT_OK(descriptor.FixParam());
  EXPECT_EQ(0xFFFFFFFFu, descriptor.payloadSize);
  EXPECT_EQ(5u, descriptor.lengthFieldSize);
  descriptor.lengthFieldSize = 1;
  descriptor.size = 0xFFFFFFFFLL + 3;
  descriptor.payloadSize = 77;
  EXPECT_RESULT(E_BAD_DATA, descriptor.FixParam());
  EXPECT_EQ(77u, descriptor.payloadSize);
  descriptor.size = 1;  // less than its header
  ASSERT_OK(descriptor.FixParam());
  EXPECT_EQ(0u, descriptor.payloadSize);
}

TEST(BaseDescriptor, ParentCountsTheWidenedLengthFieldsOfItsChildren) {
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(es, EsDescriptor({DecoderConfig(0x21, {Descriptor(5, {U8(1)})})})));
  auto* config = es.GetChildDescriptor(4);
  auto* info = dynamic_cast<CDecoderSpecificInfo*>(config->GetChildDescriptor(5));
  ASSERT_NE(nullptr, info);
  const Bytes block = Fill(200, 7);
  ASSERT_OK(info->SetSpecificData(block.data(), 200));
  ASSERT_OK(es.FixParam());
  EXPECT_EQ(EsDescriptor({DecoderConfig(0x21, {Descriptor(5, {block})})}), Written(es));
}

TEST(BaseDescriptor, FixParamPassesFailuresUp) {
  ChosenDescriptor parent;
  auto* child = new ChosenDescriptor;
  child->tag = 3;
  parent.AddChildDescriptor(child);
  child->fixResult = E_FAIL;
  EXPECT_RESULT(E_FAIL, parent.FixParam());
  child->fixResult = S_FALSE;
  EXPECT_RESULT(S_FALSE, parent.FixParam());
  child->fixResult = S_OK;
  child->sizeResult = E_ABORT;
  EXPECT_RESULT(E_ABORT, parent.FixParam());
  long long total = 0;
  EXPECT_RESULT(E_ABORT, parent.GetDataSize(&total));
  child->sizeResult = S_OK;
  EXPECT_OK(parent.FixParam());
  parent.fixResult = E_FAIL;
  EXPECT_RESULT(E_FAIL, parent.FixParam());
}

TEST(BaseDescriptor, NullChildIsRefusedByEveryWalk) {
  CBaseDescriptor parent;
  ASSERT_OK(parent.AddChildDescriptor(2));
  ASSERT_OK(parent.AddChildDescriptor(5));
  parent.children.emplace(5, nullptr);
  ASSERT_OK(parent.AddChildDescriptor(9));
  long long total = 0;
  EXPECT_RESULT(E_POINTER, parent.GetDataSize(&total));
  EXPECT_RESULT(E_POINTER, WriteDescriptor(parent, 100));
  EXPECT_RESULT(E_POINTER, parent.SetLengthFieldSize(3));
  EXPECT_EQ(1u, parent.lengthFieldSize) << "its own is set last";
  EXPECT_EQ(3u, parent.GetChildDescriptor(5)->lengthFieldSize);
  EXPECT_EQ(1u, parent.GetChildDescriptor(9)->lengthFieldSize);
  EXPECT_RESULT(E_POINTER, parent.FixParam());
  EXPECT_EQ(nullptr, parent.GetChildDescriptor(2)) << "unknown and in front of the null";
  EXPECT_NE(nullptr, parent.GetChildDescriptor(9)) << "behind it";
}

TEST(BaseDescriptor, SizeNeedsAPlace) {
  const CBaseDescriptor descriptor;
  EXPECT_RESULT(E_POINTER, descriptor.GetDataSize(nullptr));
  EXPECT_RESULT(E_POINTER, descriptor.GetDataSizeImpl(nullptr));
}

TEST(BaseDescriptor, SetLengthFieldSizeReachesTheWholeTree) {
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(
      es, EsDescriptor({DecoderConfig(0x40, {Descriptor(5, {U16(0x1210)})}), SlConfig()})));
  ASSERT_OK(es.SetLengthFieldSize(4));
  ASSERT_OK(es.FixParam());
  EXPECT_EQ(Hex("03 80 80 80 22  00 01 00"
                "  04 80 80 80 14  40 15 00 18 00 00 01 F4 00 00 01 77 00"
                "    05 80 80 80 02  12 10"
                "  06 80 80 80 01  02"),
            Written(es));
}

}  // namespace
