#include "box/sample_entries.h"

#include <gtest/gtest.h>

#include <memory>

#include "box/box_factory.h"
#include "box/sample_entry_extras.h"
#include "support/box_io.h"

namespace {

using support::Box;
using support::Bytes;
using support::Fill;
using support::FixAndWrite;
using support::ParseBox;
using support::U16;
using support::U32;
using support::Zeros;

TEST(VisualSampleEntry, NewOneHasTheFormatsDefaults) {
  MP4G::CVisualSampleEntry box;
  box.SetClassType(FourCc("jpeg"));
  const Bytes expected = Box("jpeg", {Zeros(6), U16(1), Zeros(20), U32(0x480000), U32(0x480000),
                                      U32(0), U16(1), Zeros(32), U16(24), U16(0xFFFF)});
  EXPECT_EQ(86u, expected.size());
  EXPECT_EQ(expected, FixAndWrite(box));
}

TEST(Mp4AudioSampleEntry, HasChildrenBehindTheExtensionOfVersion1) {
  const Bytes bytes =
      Box("mp4a", {Fill(8, 1), U16(1), Fill(18, 2), Fill(16, 3), Box("wave", {U32(4)})});
  MP4G::CMp4AudioSampleEntry box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(0x03030303u, box.extension->bytesPerSample);
  EXPECT_EQ(1u, box.GetChildBoxNum(FourCc("wave")));
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(ViewIdentifierBox, KeepsTheHalfReadEntry) {
  MP4G::CViewIdentifierBox box;
  const Bytes bytes = support::FullBox("vwid", 0, 0, {support::U8(0), U16(2), U16(1), U16(2)});
  EXPECT_RESULT(S_FALSE, ParseBox(box, bytes));
  EXPECT_EQ(1u, box.entries.size());
}

TEST(BoxFactory, ChoosesTheEntryClassOfAnUnknownTypeByTheHandler) {
  MP4G::CBox* made = nullptr;
  ASSERT_OK(
      MP4G::CBoxFactory::CreateSampleEntry<MP4G::CBox>(FourCc("zzzz"), FourCc("soun"), &made));
  const std::unique_ptr<MP4G::CBox> entry(made);
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CAudioSampleEntry*>(made));
  EXPECT_EQ(0u, made->GetClassType());
}

}  // namespace
