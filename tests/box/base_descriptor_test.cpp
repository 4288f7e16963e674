#include "box/base_descriptor.h"

#include "box/box_factory.h"
#include "box/descriptors.h"
#include "support/descriptor_io.h"

namespace {

using MP4G::CBaseDescriptor;
using MP4G::CDecoderConfigDescriptor;
using MP4G::CDecoderSpecificInfo;
using MP4G::CEsDescriptor;
using MP4G::CSLConfigDescriptor;
using MP4G::CUnknownDescriptor;
using support::Bytes;
using support::ChosenDescriptor;
using support::DecoderConfig;
using support::Descriptor;
using support::EsDescriptor;
using support::Hex;
using support::Join;
using support::MakeDescriptor;
using support::ParseDescriptor;
using support::SizeOf;
using support::SlConfig;
using support::U16;
using support::U8;
using support::WriteDescriptor;
using support::Written;
using support::operator+;

TEST(BaseDescriptor, FactoryMakesTheClassOfEachTag) {
  for (unsigned int tag = 0; tag < 256; ++tag) {
    SCOPED_TRACE(tag);
    const auto made = MakeDescriptor(static_cast<std::uint8_t>(tag));
    EXPECT_EQ(tag, made->tag);
    EXPECT_EQ(tag == 3, dynamic_cast<CEsDescriptor*>(made.get()) != nullptr);
    EXPECT_EQ(tag == 4, dynamic_cast<CDecoderConfigDescriptor*>(made.get()) != nullptr);
    EXPECT_EQ(tag == 5, dynamic_cast<CDecoderSpecificInfo*>(made.get()) != nullptr);
    EXPECT_EQ(tag == 6, dynamic_cast<CSLConfigDescriptor*>(made.get()) != nullptr);
    EXPECT_EQ(tag < 3 || tag > 6, dynamic_cast<CUnknownDescriptor*>(made.get()) != nullptr);
  }
}

TEST(BaseDescriptor, FactoryNeedsAPlaceAndAFittingClass) {
  EXPECT_RESULT(E_POINTER, MP4G::CBoxFactory::CreateDescriptorImpl(3, nullptr));
  EXPECT_RESULT(E_POINTER, MP4G::CBoxFactory::CreateDescriptor<CBaseDescriptor>(3, nullptr));
  CEsDescriptor* es = nullptr;
  ASSERT_OK(MP4G::CBoxFactory::CreateDescriptor(3, &es));
  EXPECT_EQ(3u, es->tag);
  delete es;
  CEsDescriptor other;
  es = &other;
  EXPECT_RESULT(E_POINTER, MP4G::CBoxFactory::CreateDescriptor(4, &es));
  EXPECT_EQ(nullptr, es);
}

TEST(BaseDescriptor, ReadsALengthOfAnyWidthAndWritesItInTheSame) {
  const struct {
    const char* bytes;
    unsigned int payload;
    unsigned int width;
  } cases[] = {{"07 00", 0, 1},
               {"07 7F", 127, 1},
               {"07 81 00", 128, 2},
               {"07 80 80 80 07", 7, 4},
               {"07 07", 7, 1},
               {"07 8F FF FF FF 7F", 0xFFFFFFFF, 5},
               {"07 80 80 80 80 80 80 80 80 00", 0, 9}};
  for (const auto& [text, payload, width] : cases) {
    SCOPED_TRACE(text);
    const Bytes bytes = Hex(text);
    CBaseDescriptor descriptor;
    const unsigned char* in = bytes.data();
    auto rest = static_cast<unsigned int>(bytes.size());
    ASSERT_OK(descriptor.SetDataImpl(in, rest));
    EXPECT_EQ(0u, rest);
    EXPECT_EQ(7u, descriptor.tag);
    EXPECT_EQ(payload, descriptor.payloadSize);
    EXPECT_EQ(width, descriptor.lengthFieldSize);
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(descriptor));
    EXPECT_EQ(bytes, Written(descriptor));
    for (unsigned int length = 0; length < bytes.size(); ++length)
      EXPECT_RESULT(S_FALSE, WriteDescriptor(descriptor, length));
    for (unsigned int length = 0; length < bytes.size(); ++length) {
      in = bytes.data();
      rest = length;
      EXPECT_RESULT(S_FALSE, descriptor.SetDataImpl(in, rest));
    }
  }
}

TEST(BaseDescriptor, LengthWrapsIn32Bits) {
  CBaseDescriptor descriptor;
  const Bytes bytes = Hex("07 FF FF FF FF FF FF FF 85 12");
  const unsigned char* in = bytes.data();
  auto rest = static_cast<unsigned int>(bytes.size());
  ASSERT_OK(descriptor.SetDataImpl(in, rest));
  EXPECT_EQ(0xFFFFC000u | 5u << 7 | 0x12u, descriptor.payloadSize);
  EXPECT_EQ(9u, descriptor.lengthFieldSize);
}

TEST(BaseDescriptor, WritesWideLengthsWithShiftsModulo32) {
  CBaseDescriptor descriptor;
  descriptor.tag = 7;
  descriptor.payloadSize = 0x00000408;
  descriptor.lengthFieldSize = 6;
  // The first byte is shifted by 35, that is by 3.
  EXPECT_EQ(Hex("07 81 80 80 80 88 08"), Written(descriptor));
}

TEST(BaseDescriptor, WritesTheTagAloneWithoutALengthField) {
  CBaseDescriptor descriptor;
  descriptor.tag = 7;
  descriptor.payloadSize = 5;
  descriptor.lengthFieldSize = 0;
  EXPECT_EQ(1, SizeOf(descriptor));
  EXPECT_EQ(Hex("07"), Written(descriptor));
}

TEST(BaseDescriptor, LengthFieldOfAnyWidthEndsWithTheBuffer) {
  CBaseDescriptor descriptor;
  ASSERT_OK(descriptor.SetLengthFieldSize(0xFFFFFFFF));
  EXPECT_EQ(0x100000000, SizeOf(descriptor));
  EXPECT_RESULT(S_FALSE, WriteDescriptor(descriptor, 1000));
}

TEST(BaseDescriptor, StartsAndResetsEmptyWithAOneByteLength) {
  const CBaseDescriptor fresh;
  EXPECT_EQ(0u, fresh.tag);
  EXPECT_EQ(0u, fresh.payloadSize);
  EXPECT_EQ(1u, fresh.lengthFieldSize);
  int destroyed = 0;
  for (const bool byInit : {false, true}) {
    CEsDescriptor parent;
    ASSERT_OK(ParseDescriptor(parent, EsDescriptor({SlConfig()})));
    auto* child = new ChosenDescriptor;
    child->destroyed = &destroyed;
    parent.AddChildDescriptor(child);
    parent.children.emplace(9, nullptr);
    parent.lengthFieldSize = 4;
    if (byInit) {
      EXPECT_OK(parent.Init());
    } else {
      parent.Reset();
    }
    EXPECT_TRUE(parent.children.empty());
    EXPECT_EQ(0u, parent.tag);
    EXPECT_EQ(0u, parent.payloadSize);
    EXPECT_EQ(1u, parent.lengthFieldSize);
    EXPECT_EQ(0u, parent.record->esId) << "the class's own Reset ran";
  }
  EXPECT_EQ(2, destroyed);
}

TEST(BaseDescriptor, DestructionDeletesTheWholeTree) {
  int destroyed = 0;
  {
    ChosenDescriptor root;
    root.destroyed = &destroyed;
    CBaseDescriptor* parent = &root;
    for (int i = 0; i < 3; ++i) {
      for (const unsigned char tag : {std::uint8_t{5}, std::uint8_t{3}}) {
        auto* child = new ChosenDescriptor;
        child->destroyed = &destroyed;
        child->tag = tag;
        parent->AddChildDescriptor(child);
      }
      parent = parent->GetChildDescriptor(5);
    }
  }
  EXPECT_EQ(7, destroyed);
}

TEST(BaseDescriptor, AddsChildrenUnderTheirTag) {
  CBaseDescriptor parent;
  parent.AddChildDescriptor(nullptr);
  EXPECT_TRUE(parent.children.empty());
  ASSERT_OK(parent.AddChildDescriptor(6));
  ASSERT_OK(parent.AddChildDescriptor(4));
  auto* second = new CUnknownDescriptor;
  second->tag = 6;
  parent.AddChildDescriptor(second);
  EXPECT_EQ(3u, parent.children.size());
  EXPECT_NE(nullptr, dynamic_cast<CSLConfigDescriptor*>(parent.GetChildDescriptor(6)));
  EXPECT_NE(nullptr, dynamic_cast<CDecoderConfigDescriptor*>(parent.GetChildDescriptor(4)));
  EXPECT_EQ(nullptr, parent.GetChildDescriptor(5));
  EXPECT_EQ(nullptr, parent.GetChildDescriptor(7));
  EXPECT_EQ(second, parent.children.rbegin()->second) << "equal tags keep their order";
}

TEST(BaseDescriptor, CreatesChildrenByTheirTag) {
  CBaseDescriptor parent;
  EXPECT_RESULT(E_POINTER, parent.CreateChildDescriptor(5, nullptr));
  CBaseDescriptor* child = nullptr;
  ASSERT_OK(parent.CreateChildDescriptor(5, &child));
  EXPECT_EQ(5u, child->tag);
  EXPECT_TRUE(parent.children.empty());
  delete child;
}

TEST(BaseDescriptor, WritesChildrenInTheOrderOfTheirTags) {
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(es, EsDescriptor({SlConfig(), DecoderConfig(0x21)})));
  EXPECT_EQ(EsDescriptor({DecoderConfig(0x21), SlConfig()}), Written(es));
  ASSERT_OK(es.FixParam());
  EXPECT_EQ(EsDescriptor({DecoderConfig(0x21), SlConfig()}), Written(es));
}

TEST(BaseDescriptor, ChildrenOfOneTagKeepTheOrderOfTheFile) {
  const Bytes bytes = EsDescriptor({Descriptor(5, {U8(1)}), SlConfig(), Descriptor(5, {U8(2)})});
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(es, bytes));
  EXPECT_EQ(EsDescriptor({Descriptor(5, {U8(1)}), Descriptor(5, {U8(2)}), SlConfig()}),
            Written(es));
}

TEST(BaseDescriptor, PayloadWithinTheFieldsMeansNoChildren) {
  for (const unsigned char payload : {std::uint8_t{0}, std::uint8_t{2}, std::uint8_t{3}}) {
    CEsDescriptor es;
    unsigned int left = 0;
    ASSERT_OK(ParseDescriptor(es, Join({U8(3), U8(payload), U16(1), U8(0), SlConfig()}), &left));
    EXPECT_TRUE(es.children.empty());
    EXPECT_EQ(3u, left);
  }
  CEsDescriptor control;
  ASSERT_OK(ParseDescriptor(control, Join({U8(3), U8(4), U16(1), U8(0), SlConfig()})));
  EXPECT_EQ(1u, control.children.size());
}

TEST(BaseDescriptor, ChildThatOverrunsItsParentEndsTheParent) {
  CEsDescriptor es;
  unsigned int left = 0;
  const Bytes bytes = Join({U8(3), U8(5), U16(1), U8(0), SlConfig(), SlConfig()});
  ASSERT_OK(ParseDescriptor(es, bytes, &left));
  EXPECT_EQ(1u, es.children.size());
  EXPECT_EQ(3u, left);
}

TEST(BaseDescriptor, MissingChildBytesAreShortAndKeepTheHalfReadChild) {
  const Bytes bytes = EsDescriptor({DecoderConfig(0x40, {Descriptor(5, {U8(0x12), U8(0x10)})})});
  for (std::size_t length = 5; length < bytes.size(); ++length) {
    SCOPED_TRACE(length);
    CEsDescriptor es;
    EXPECT_RESULT(S_FALSE, ParseDescriptor(es, Bytes(bytes.data(), bytes.data() + length)));
    EXPECT_EQ(length > 5 ? 1u : 0u, es.children.size());
  }
}

TEST(BaseDescriptor, ALengthThatIsCutIsNone) {
  CUnknownDescriptor descriptor;
  EXPECT_RESULT(S_FALSE, ParseDescriptor(descriptor, Hex("078182")));
  EXPECT_EQ(0u, descriptor.payloadSize);
  EXPECT_EQ(2u, descriptor.lengthFieldSize);
}

TEST(BaseDescriptor, ParsingAgainStartsFromNothing) {
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(es, EsDescriptor({SlConfig(), SlConfig()})));
  ASSERT_OK(ParseDescriptor(es, EsDescriptor({SlConfig()})));
  EXPECT_EQ(1u, es.children.size());
}

TEST(BaseDescriptor, RefusesAChildThatCannotBeMade) {
  int destroyed = 0;
  ChosenDescriptor parent;
  const auto makeAndFail = [&](CBaseDescriptor** child) {
    auto* made = new ChosenDescriptor;
    made->destroyed = &destroyed;
    *child = made;
    return E_FAIL;
  };
  parent.create = makeAndFail;
  EXPECT_RESULT(E_FAIL, ParseDescriptor(parent, Hex("03 02 05 00")));
  EXPECT_EQ(1, destroyed);
  EXPECT_TRUE(parent.children.empty());
  parent.create = [](CBaseDescriptor** child) {
    *child = nullptr;
    return S_OK;
  };
  EXPECT_RESULT(E_POINTER, ParseDescriptor(parent, Hex("03 02 05 00")));
  parent.create = nullptr;
  EXPECT_OK(ParseDescriptor(parent, Hex("03 02 05 00")));
}

TEST(BaseDescriptor, PassesAChildsFailureUpAndKeepsTheChild) {
  ChosenDescriptor parent;
  parent.create = [](CBaseDescriptor** child) {
    auto* made = new ChosenDescriptor;
    made->read = [](const unsigned char*&, unsigned int&) { return E_ABORT; };
    *child = made;
    return S_OK;
  };
  EXPECT_RESULT(E_ABORT, ParseDescriptor(parent, Hex("03 02 05 00")));
  EXPECT_EQ(1u, parent.children.size());
}

TEST(BaseDescriptor, RefusesAChildThatGivesBytesBack) {
  ChosenDescriptor parent;
  parent.create = [](CBaseDescriptor** child) {
    auto* made = new ChosenDescriptor;
    made->read = [](const unsigned char*& in, unsigned int& rest) {
      --in;
      ++rest;
      return S_OK;
    };
    *child = made;
    return S_OK;
  };
  EXPECT_RESULT(E_UNEXPECTED, ParseDescriptor(parent, Hex("03 02 05 00")));
  EXPECT_EQ(1u, parent.children.size());
}

}  // namespace
