#include "box/es_descriptor_box.h"
#include "reader/typed_views.h"
#include "support/descriptor_io.h"

namespace {

using MP4G::CESDBox;
using MP4G::CESDBox_wr;
using support::DecoderConfig;
using support::Descriptor;
using support::EsDescriptor;
using support::Hex;
using support::ParseDescriptor;
using support::SlConfig;

TEST(EsdsView, GivesNullForANullBoxAndForOneWithoutDescriptors) {
  CESDBox without;
  for (CESDBox* box : {static_cast<CESDBox*>(nullptr), &without}) {
    const CESDBox_wr view(box);
    EXPECT_EQ(nullptr, view.EsDescriptor());
    EXPECT_EQ(nullptr, view.DecoderConfigDescriptor());
    EXPECT_EQ(nullptr, view.DecoderSpecificInfo());
    EXPECT_EQ(nullptr, view.VideoSpecificConfig());
    EXPECT_EQ(nullptr, view.AudioSpecificConfig());
    EXPECT_EQ(nullptr, view.SLConfigDescriptor());
  }
}

TEST(EsdsView, FindsTheChildrenOfTheEsDescriptor) {
  CESDBox box;
  ASSERT_OK(box.Init());
  const CESDBox_wr view(&box);
  EXPECT_EQ(box.descriptor.get(), view.EsDescriptor());
  EXPECT_EQ(nullptr, view.DecoderConfigDescriptor());
  ASSERT_OK(ParseDescriptor(*box.descriptor,
                            EsDescriptor({DecoderConfig(0x40, {Descriptor(5, {Hex("11 90")})}),
                                          SlConfig(), SlConfig(), DecoderConfig(0x20)})));
  ASSERT_NE(nullptr, view.DecoderConfigDescriptor());
  EXPECT_EQ(0x40, view.DecoderConfigDescriptor()->record->objectTypeIndication);
  EXPECT_EQ(box.descriptor->GetChildDescriptor(6), view.SLConfigDescriptor());
  EXPECT_EQ(nullptr, view.DecoderSpecificInfo()) << "that is the configuration's, not the stream's";
}

TEST(EsdsView, TellsSpecificInfosApartByTheirClass) {
  for (const unsigned char type : {std::uint8_t{0x20}, std::uint8_t{0x40}, std::uint8_t{0x21}}) {
    CESDBox box;
    ASSERT_OK(box.Init());
    // Below the ES descriptor itself, where the getters look.
    const auto config = support::MakeDescriptor(4);
    ASSERT_OK(ParseDescriptor(*config, DecoderConfig(type)));
    MP4G::CBaseDescriptor* info = nullptr;
    ASSERT_OK(config->CreateChildDescriptor(5, &info));
    box.descriptor->AddChildDescriptor(info);
    const CESDBox_wr view(&box);
    EXPECT_EQ(info, view.DecoderSpecificInfo());
    EXPECT_EQ(type == 0x20 ? info : nullptr, view.VideoSpecificConfig());
    EXPECT_EQ(type == 0x40 ? info : nullptr, view.AudioSpecificConfig());
  }
}

TEST(EsdsView, GivesNullForADescriptorOfAnotherClass) {
  CESDBox box;
  ASSERT_OK(box.Init());
  const CESDBox_wr view(&box);
  for (const unsigned char tag : {std::uint8_t{4}, std::uint8_t{5}, std::uint8_t{6}}) {
    auto* other = new MP4G::CUnknownDescriptor;
    other->tag = tag;
    box.descriptor->AddChildDescriptor(other);
  }
  EXPECT_EQ(nullptr, view.DecoderConfigDescriptor());
  EXPECT_EQ(nullptr, view.DecoderSpecificInfo());
  EXPECT_EQ(nullptr, view.SLConfigDescriptor());
}

TEST(EsdsView, TheSharedStepUsesTheLowByteOfTheTag) {
  MP4G::CBaseDescriptor parent;
  ASSERT_OK(parent.AddChildDescriptor(6));
  MP4G::CBaseDescriptor* found = &parent;
  CESDBox_wr::GetChildDescriptorT(&found, nullptr, 6);
  EXPECT_EQ(&parent, found);
  CESDBox_wr::GetChildDescriptorT<MP4G::CBaseDescriptor>(nullptr, &parent, 6);
  CESDBox_wr::GetChildDescriptorT(&found, &parent, 0xFFFFFF06);
  EXPECT_EQ(parent.GetChildDescriptor(6), found);
  CESDBox_wr::GetChildDescriptorT(&found, &parent, 5);
  EXPECT_EQ(nullptr, found);
}

}  // namespace
