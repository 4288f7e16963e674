#include "box/structural_boxes.h"

#include <gtest/gtest.h>

#include "support/box_io.h"

namespace {

using support::Box;
using support::Bytes;
using support::FixAndWrite;
using support::FullBox;
using support::ParseBox;
using support::Text;
using support::U16;
using support::U32;
using support::U64;
using support::Zeros;

TEST(EditListBox, DoesNotSignExtendANarrowMediaTime) {
  const Bytes bytes = FullBox("elst", 0, 0, {U32(1), U32(100), U32(0xFFFFFFFF), U16(1), U16(0)});
  MP4G::CEditListBox box;
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_EQ(1u, box.entries.size());
  EXPECT_EQ(4294967295, box.entries[0].mediaTime);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(HandlerBox, IsNamedWhenNotReadFromAFile) {
  MP4G::CHandlerBox box;
  ASSERT_OK(box.Init());
  box.SetClassType(FourCc("hdlr"));
  EXPECT_EQ(FullBox("hdlr", 0, 0, {Zeros(20), Text("Qvr")}), FixAndWrite(box));
}

TEST(DataReferenceBox, CountsItsChildrenAnew) {
  const Bytes url = FullBox("url ", 0, 1);
  MP4G::CDataReferenceBox box;
  ASSERT_OK(ParseBox(box, FullBox("dref", 0, 0, {U32(9), url, url})));
  EXPECT_EQ(9u, box.entryCount);
  EXPECT_EQ(FullBox("dref", 0, 0, {U32(2), url, url}), FixAndWrite(box));
}

TEST(DataEntryUrnBox, TakesEverythingUpToTheEndOfTheBuffer) {
  MP4G::CDataEntryUrnBox box;
  unsigned int left = 0;
  const Bytes bytes = support::Join({FullBox("urn ", 0, 0, {Text("ab")}), Text("cdef")});
  ASSERT_OK(ParseBox(box, bytes, &left));
  EXPECT_EQ(4u, left);
  EXPECT_EQ("abcdef", box.name);
  EXPECT_EQ("", box.location);
  EXPECT_EQ(FullBox("urn ", 0, 0, {Text("abcdef")}), FixAndWrite(box));
}

}  // namespace
