#include "foundation/checksum.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/bytes.h"
#include "support/result_matchers.h"

using namespace QUIRVA;
using support::Bytes;
using support::Hex;
using support::Text;
using support::Zeros;
using support::operator+;

namespace {

// "123456789" is what published checksums are given for.
const Bytes kDigits = Text("123456789");

template <class Number>
Bytes BytesOf(const Number& number) {
  Bytes bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

unsigned int SizeOf(const Bytes& bytes) { return static_cast<unsigned int>(bytes.size()); }

Bytes Crc16(const Bytes& bytes, HRESULT expected) {
  unsigned short crc = 0x7777;
  EXPECT_RESULT(expected, CRC16::DecodeCRC16Data(bytes.data(), SizeOf(bytes), &crc));
  return BytesOf(crc);
}

Bytes Crc32(const Bytes& bytes) {
  unsigned int crc = 0x77777777;
  EXPECT_OK(CRC32::CRC32Decode(bytes.data(), SizeOf(bytes), crc));
  return BytesOf(crc);
}

bool Check(const Bytes& bytes) { return CRC32::CRC32Check(bytes.data(), SizeOf(bytes)); }

}  // namespace

TEST(Crc16, HasThePublishedValueMostSignificantByteFirst) {
  EXPECT_EQ(Hex("31C3"), Crc16(kDigits, S_FALSE));
}

TEST(Crc16, DataWithTheirChecksumLeaveNothing) {
  EXPECT_EQ(Zeros(2), Crc16(kDigits + Hex("31C3"), S_OK));
  EXPECT_NE(Zeros(2), Crc16(kDigits + Hex("31C2"), S_FALSE));
  EXPECT_NE(Zeros(2), Crc16(Text("023456789") + Hex("31C3"), S_FALSE));
}

TEST(Crc16, TwoZeroBytesAreIntactAndOneByteIsTooFew) {
  EXPECT_EQ(Zeros(2), Crc16(Zeros(2), S_OK));
  unsigned short crc = 0x7777;
  EXPECT_RESULT(E_INVALIDARG, CRC16::DecodeCRC16Data(Zeros(1).data(), 1, &crc));
  EXPECT_EQ(0x7777, crc);
}

TEST(Crc16, RefusesNull) {
  unsigned short crc = 0x7777;
  EXPECT_RESULT(E_INVALIDARG, CRC16::DecodeCRC16Data(nullptr, 2, &crc));
  EXPECT_RESULT(E_INVALIDARG, CRC16::DecodeCRC16Data(kDigits.data(), 9, nullptr));
  EXPECT_EQ(0x7777, crc);
}

TEST(Crc32, HasThePublishedValueMostSignificantByteFirst) {
  EXPECT_EQ(Hex("0376E6E7"), Crc32(kDigits));
}

TEST(Crc32, DataWithTheirChecksumLeaveNothing) {
  EXPECT_EQ(Zeros(4), Crc32(kDigits + Hex("0376E6E7")));
  EXPECT_TRUE(Check(kDigits + Hex("0376E6E7")));
  EXPECT_FALSE(Check(kDigits + Hex("0376E6E6")));
  EXPECT_FALSE(Check(Text("123456788") + Hex("0376E6E7")));
}

TEST(Crc32, NeedsFourBytes) {
  unsigned int crc = 0x77777777;
  EXPECT_RESULT(S_FALSE, CRC32::CRC32Decode(kDigits.data(), 3, crc));
  EXPECT_EQ(0x77777777u, crc);
  EXPECT_OK(CRC32::CRC32Decode(kDigits.data(), 4, crc));
  EXPECT_NE(0x77777777u, crc);
  EXPECT_FALSE(CRC32::CRC32Check(kDigits.data(), 3));
  // The four bytes that cancel the initial value.
  EXPECT_TRUE(Check(Hex("FFFFFFFF")));
}

TEST(Crc32, RefusesNull) {
  unsigned int crc = 0x77777777;
  EXPECT_RESULT(E_INVALIDARG, CRC32::CRC32Decode(nullptr, 9, crc));
  EXPECT_RESULT(E_INVALIDARG, CRC32::CRC32Decode(nullptr, 3, crc));
  EXPECT_EQ(0x77777777u, crc);
  EXPECT_FALSE(CRC32::CRC32Check(nullptr, 9));
}

TEST(Crc32, CalculateGivesTheSameInBothForms) {
  unsigned int crc = 0;
  EXPECT_OK(CRC32::CalculateCRC32Value(kDigits.data(), 9, crc));
  EXPECT_EQ(Hex("0376E6E7"), BytesOf(crc));
  stCRC32Struct record = {0};
  EXPECT_OK(CRC32::CalculateCRC32Value(kDigits.data(), 9, record));
  EXPECT_EQ(Hex("0376E6E7"), BytesOf(record));
}

TEST(Crc32, CalculateLeavesTheResultOnFailure) {
  unsigned int crc = 0x77777777;
  stCRC32Struct record = {0x77777777};
  EXPECT_RESULT(S_FALSE, CRC32::CalculateCRC32Value(kDigits.data(), 3, crc));
  EXPECT_RESULT(S_FALSE, CRC32::CalculateCRC32Value(kDigits.data(), 3, record));
  EXPECT_RESULT(E_INVALIDARG, CRC32::CalculateCRC32Value(nullptr, 9, crc));
  EXPECT_RESULT(E_INVALIDARG, CRC32::CalculateCRC32Value(nullptr, 9, record));
  EXPECT_EQ(0x77777777u, crc);
  EXPECT_EQ(0x77777777u, record.value);
}
