#include "foundation/guid.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/bytes.h"

namespace QUIRVA {
namespace {

TEST(GuidToBigEndian, IsTheInverseOfBigEndianToGuid) {
  const support::Bytes bytes = support::Hex("85C0B687 820F 11E0 8111F4CE462B6A48");
  const WireGuid wire = GuidToBigEndian(BigEndianToGuid(bytes.data(), 16));
  EXPECT_EQ(0, std::memcmp(bytes.data(), &wire, 16));
}

TEST(GuidToBigEndian, CutsTheFirstGroupTo32Bits) {
  _GUID wide{};
  wide.Data1 = static_cast<unsigned long>(0x1122334455667788ull);
  EXPECT_EQ(0x55667788u, GuidToBigEndian(wide).first);
}

TEST(GuidText, SpellsTheGroupsWithHyphens) {
  const _GUID id = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 0xFF}};
  EXPECT_EQ("01020304-0506-0708-090a-0b0c0d0e0fff", GuidText(id));
  EXPECT_EQ("00000000-0000-0000-0000-000000000000", GuidText(_GUID{}));
}

TEST(GuidText, CutsTheFirstGroupTo32Bits) {
  _GUID wide{};
  wide.Data1 = static_cast<unsigned long>(0x1122334455667788ull);
  EXPECT_EQ("55667788-0000-0000-0000-000000000000", GuidText(wide));
}

}  // namespace
}  // namespace QUIRVA
