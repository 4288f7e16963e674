#include "box/data_boxes.h"

#include <gtest/gtest.h>

#include "support/allocation_meter.h"
#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CDataMemBox;
using MP4G::CFreeBox;
using support::Box;
using support::Bytes;
using support::FixAndWrite;
using support::Join;
using support::ParseBox;
using support::SizeOf;
using support::Text;
using support::U32;
using support::U64;
using support::WriteBox;
using support::Zeros;

Bytes Payload(const CDataMemBox& box) { return {box.data, box.data + box.dataSize}; }

TEST(DataMemBox, KeepsItsPayload) {
  CDataMemBox box;
  const Bytes payload = {'a', 0, 'b', 0xFF};
  const Bytes bytes = Box("zzzz", {payload});
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(payload, Payload(box));
  EXPECT_EQ(0u, box.restSize);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(DataMemBox, HasNoBlockForNoPayload) {
  CDataMemBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz")));
  EXPECT_EQ(nullptr, box.data);
  EXPECT_EQ(0u, box.dataSize);
  EXPECT_EQ(Box("zzzz"), FixAndWrite(box));
}

TEST(DataMemBox, KeepsAnExtendedTypeBesideItsPayload) {
  const Bytes type = support::Hex("00112233445566778899AABBCCDDEEFF");
  for (const Bytes& payload : {Bytes{}, Text("abc")}) {
    CDataMemBox box;
    const Bytes bytes = Box("uuid", {type, payload});
    ASSERT_OK(ParseBox(box, bytes));
    EXPECT_EQ(24u, box.GetBoxBaseSize());
    EXPECT_EQ(payload.size(), box.dataSize);
    EXPECT_EQ(type, Bytes(box.usertype, box.usertype + 16));
    EXPECT_EQ(bytes, FixAndWrite(box));
  }
}

TEST(DataMemBox, NeedsAnExtendedTypeInsideItself) {
  const Bytes bytes = Join({U32(23), Text("uuid"), Zeros(16)});
  CDataMemBox whole;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(whole, bytes));
  CDataMemBox cut;
  EXPECT_RESULT(S_FALSE, ParseBox(cut, Bytes(bytes.begin(), bytes.end() - 1)));
}

TEST(DataMemBox, AllocatesOnlyForBytesThatAreThere) {
  CDataMemBox box;
  const Bytes bytes = Join({U32(0xFFFFFFFF), Text("zzzz"), Zeros(1000)});
  const support::AllocationMeter meter;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, bytes, &left));
  EXPECT_EQ(0u, meter.Count());
  EXPECT_EQ(1000u, left);
  EXPECT_EQ(nullptr, box.data);
}

TEST(DataMemBox, TakesItsLengthFromALargeSizeToo) {
  const auto read = [](unsigned long long size) {
    CDataMemBox box;
    const Bytes bytes = Join({U32(1), Text("zzzz"), U64(size), Text("abcd")});
    const unsigned char* in = bytes.data();
    unsigned int rest = static_cast<unsigned int>(bytes.size());
    const HRESULT result = box.SetDataImpl(in, rest);
    EXPECT_EQ(result == S_OK ? Text("abcd") : Bytes{}, Payload(box));
    return result;
  };
  EXPECT_OK(read(20));
  EXPECT_RESULT(S_FALSE, read(21));
  EXPECT_RESULT(E_BAD_DATA, read(15));
  EXPECT_RESULT(E_PENDING, read(0x100000000));
  EXPECT_RESULT(E_BAD_DATA, read(0x8000000000000000));
}

TEST(DataMemBox, AllocSizeGivesZeros) {
  CDataMemBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz", {Text("abc")})));
  EXPECT_OK(box.AllocSize(5));
  EXPECT_EQ(Zeros(5), Payload(box));
  EXPECT_EQ(Box("zzzz", {Zeros(5)}), FixAndWrite(box));
  EXPECT_OK(box.AllocSize(0));
  EXPECT_EQ(nullptr, box.data);
  EXPECT_EQ(0u, box.dataSize);
}

TEST(DataMemBox, DoesNotWriteAPayloadThatIsNotThere) {
  CDataMemBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz", {Text("abc")})));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 10, &written));
  EXPECT_EQ(8u, written.size());
  delete[] box.data;
  box.data = nullptr;
  EXPECT_RESULT(E_POINTER, WriteBox(box, 11, &written));
  EXPECT_RESULT(S_FALSE, WriteBox(box, 10, &written));
}

TEST(DataMemBox, ResetFreesItsBlock) {
  CDataMemBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz", {Text("abc")})));
  box.Reset();
  EXPECT_EQ(nullptr, box.data);
  EXPECT_EQ(8, SizeOf(box));
}

TEST(FreeBox, KeepsItsPadding) {
  CFreeBox box;
  ASSERT_OK(ParseBox(box, Box("free", {Text("abc")})));
  EXPECT_EQ(Text("abc"), Payload(box));
}

TEST(FreeBox, TakesBytes) {
  CFreeBox box;
  box.SetClassType(FourCc("free"));
  EXPECT_OK(box.SetBinaryData(Text("abc").data(), 3));
  EXPECT_EQ(0u, box.header->size);
  EXPECT_EQ(Box("free", {Text("abc")}), FixAndWrite(box));
  EXPECT_OK(box.SetBinaryData(Text("de").data(), 2));
  EXPECT_EQ(Box("free", {Text("de")}), FixAndWrite(box));
  EXPECT_RESULT(E_POINTER, box.SetBinaryData(nullptr, 1));
  EXPECT_EQ(Text("de"), Payload(box));
}

TEST(FreeBox, TakesALengthOfZeros) {
  CFreeBox box;
  box.SetClassType(FourCc("free"));
  EXPECT_OK(box.SetBinaryDataSize(3));
  EXPECT_EQ(Box("free", {Zeros(3)}), FixAndWrite(box));
}

TEST(FreeBox, KeepsABlockEvenForNothing) {
  CFreeBox box;
  EXPECT_OK(box.SetBinaryDataSize(0));
  EXPECT_NE(nullptr, box.data);
  EXPECT_EQ(0u, box.dataSize);
  EXPECT_OK(box.AllocSize(0));
  EXPECT_EQ(nullptr, box.data);
  EXPECT_OK(box.SetBinaryData(nullptr, 0));
  EXPECT_NE(nullptr, box.data);
  EXPECT_EQ(0u, box.dataSize);
}

}  // namespace
