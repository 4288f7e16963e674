#include "foundation/bits.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/bytes.h"
#include "support/result_matchers.h"

using namespace QUIRVA;
using support::Bytes;
using support::Hex;

namespace {

constexpr char kAligned = 7;

QvBitReader Reader(const Bytes& bytes, char startBitIndex = kAligned) {
  return {bytes.data(), static_cast<long long>(bytes.size()), startBitIndex};
}

unsigned int Get(QvBitReader& reader, int bits) {
  unsigned int value = 0x77777777;
  EXPECT_OK(reader.GetBitValue(static_cast<char>(bits), &value));
  return value;
}

HRESULT Try(QvBitReader& reader, int bits) {
  unsigned int value = 0x77777777;
  const HRESULT result = reader.GetBitValue(static_cast<char>(bits), &value);
  EXPECT_EQ(0u, value);
  return result;
}

// Where a reader stands: bit index, bits and bytes read.
void ExpectAt(const QvBitReader& reader, int bitIndex, long long bits, long long bytes) {
  EXPECT_EQ(bitIndex, reader.GetCurrentBitIndex());
  EXPECT_EQ(bits, reader.GetReadBits());
  EXPECT_EQ(bytes, reader.GetReadBytes());
  EXPECT_EQ(bitIndex == 7, reader.IsByteAligned());
}

class BitWriter : public testing::Test {
 protected:
  Bytes Contents() const { return {buffer_.GetData(), buffer_.GetData() + buffer_.GetDataSize()}; }
  HRESULT Set(int bits, unsigned int value) {
    return writer_.SetBitValue(static_cast<char>(bits), value);
  }
  void ExpectAt(long long bytePos, int bitIndex, long long bits, long long bytes) const {
    EXPECT_EQ(bytePos, writer_.GetCurrentBytePos());
    EXPECT_EQ(bitIndex, writer_.GetCurrentBitIndex());
    EXPECT_EQ(bits, writer_.GetWriteBits());
    EXPECT_EQ(bytes, writer_.GetWriteBytes());
    EXPECT_EQ(bitIndex == 7, writer_.IsByteAligned());
  }

  QvMemBuffer buffer_{0};
  QvBitWriter writer_{&buffer_, 0, kAligned};
};

}  // namespace

TEST(BitReader, StartsWhereItIsTold) {
  const Bytes bytes = Hex("ABCD");
  const QvBitReader reader = Reader(bytes, 3);
  EXPECT_EQ(2, reader.GetBuffSize());
  EXPECT_EQ(3, reader.GetStartBitIndex());
  EXPECT_TRUE(reader.IsMoreData());
  ExpectAt(reader, 3, 0, 0);
}

TEST(BitReader, ReadsOneByteAndNoMore) {
  const Bytes bytes = Hex("5A");
  QvBitReader reader = Reader(bytes);
  EXPECT_EQ(0x5Au, Get(reader, 8));
  EXPECT_FALSE(reader.IsMoreData());
  EXPECT_RESULT(E_NO_MORE_ITEMS, Try(reader, 1));
  ExpectAt(reader, 7, 8, 1);
}

TEST(BitReader, TakesNothingWhenTooFewBitsAreLeft) {
  const Bytes bytes = Hex("5A");
  QvBitReader reader = Reader(bytes);
  EXPECT_RESULT(E_NO_MORE_ITEMS, Try(reader, 9));
  ExpectAt(reader, 7, 0, 0);
  EXPECT_EQ(2u, Get(reader, 3));
  EXPECT_RESULT(E_NO_MORE_ITEMS, Try(reader, 6));
  ExpectAt(reader, 4, 3, 0);
  EXPECT_EQ(0x1Au, Get(reader, 5));
}

TEST(BitReader, PassesAByteWithItsLastBit) {
  const Bytes bytes = Hex("A6FF");
  QvBitReader reader = Reader(bytes);
  EXPECT_EQ(5u, Get(reader, 3));
  ExpectAt(reader, 4, 3, 0);
  EXPECT_EQ(6u, Get(reader, 5));
  ExpectAt(reader, 7, 8, 1);
  EXPECT_TRUE(reader.IsMoreData());
}

TEST(BitReader, ReadsAcrossBytes) {
  const Bytes bytes = Hex("ABCD 12345678 9A");
  QvBitReader reader = Reader(bytes);
  EXPECT_EQ(0xABCu, Get(reader, 12));
  ExpectAt(reader, 3, 12, 1);
  EXPECT_EQ(0xD1234567u, Get(reader, 32));
  ExpectAt(reader, 3, 44, 5);
  EXPECT_EQ(0x89Au, Get(reader, 12));
  ExpectAt(reader, 7, 56, 7);
}

TEST(BitReader, ReadsInsideAByteThatItHasBegun) {
  const Bytes bytes = Hex("A6");
  QvBitReader reader = Reader(bytes);
  EXPECT_EQ(1u, Get(reader, 1));
  EXPECT_EQ(1u, Get(reader, 2));
  ExpectAt(reader, 4, 3, 0);
}

TEST(BitReader, ReadsNothingAnywhere) {
  const Bytes bytes = Hex("5A");
  QvBitReader reader = Reader(bytes);
  EXPECT_EQ(0u, Get(reader, 0));
  Get(reader, 8);
  EXPECT_EQ(0u, Get(reader, 0));
  ExpectAt(reader, 7, 8, 1);
}

TEST(BitReader, KeepsTheLast32BitsOfMore) {
  const Bytes bytes = Hex("FF12345678 000102030405060708090A0B0C0D0E0F");
  QvBitReader reader = Reader(bytes);
  EXPECT_EQ(0x12345678u, Get(reader, 40));
  EXPECT_EQ(0x06070809u >> 1 | 0x05u << 31, Get(reader, 79));
  ExpectAt(reader, 0, 119, 14);
}

TEST(BitReader, StartsInTheMiddleOfAByteAndStaysInItsBlock) {
  const Bytes bytes = Hex("ABCD");
  QvBitReader reader = Reader(bytes, 3);
  EXPECT_RESULT(E_NO_MORE_ITEMS, Try(reader, 13));
  ExpectAt(reader, 3, 0, 0);
  EXPECT_EQ(0xBu, Get(reader, 4));
  ExpectAt(reader, 7, 4, 1);
  EXPECT_EQ(0xCDu, Get(reader, 8));
  EXPECT_RESULT(E_NO_MORE_ITEMS, Try(reader, 1));
}

TEST(BitReader, RefusesWhatItCannotAnswer) {
  const Bytes bytes = Hex("5A");
  QvBitReader reader = Reader(bytes);
  EXPECT_RESULT(E_POINTER, reader.GetBitValue(1, nullptr));
  EXPECT_RESULT(E_INVALIDARG, Try(reader, -1));
  ExpectAt(reader, 7, 0, 0);
  QvBitReader empty(nullptr, 1, kAligned);
  unsigned int value = 77;
  EXPECT_RESULT(E_POINTER, empty.GetBitValue(1, nullptr));
  EXPECT_RESULT(E_INVALIDARG, empty.GetBitValue(1, &value));
  EXPECT_EQ(77u, value);
  for (const char index : {static_cast<char>(-1), static_cast<char>(8)}) {
    QvBitReader astray = Reader(bytes, index);
    EXPECT_EQ(0u, Get(astray, 0));
    EXPECT_RESULT(E_INVALIDARG, astray.GetBitValue(1, &value));
  }
}

TEST(BitReader, HasNothingInABlockOfNoSize) {
  const Bytes bytes = Hex("5A");
  for (const long long size : {0LL, -1LL, std::numeric_limits<long long>::min()}) {
    QvBitReader reader(bytes.data(), size, kAligned);
    EXPECT_FALSE(reader.IsMoreData());
    EXPECT_RESULT(E_NO_MORE_ITEMS, Try(reader, 1));
  }
}

TEST_F(BitWriter, StartsWhereItIsTold) {
  const QvBitWriter writer(&buffer_, 5, 3);
  EXPECT_EQ(5, writer.GetStartBytePos());
  EXPECT_EQ(3, writer.GetStartBitIndex());
  EXPECT_EQ(5, writer.GetCurrentBytePos());
  EXPECT_EQ(3, writer.GetCurrentBitIndex());
  EXPECT_FALSE(writer.IsByteAligned());
  EXPECT_EQ(0, writer.GetWriteBits());
  EXPECT_EQ(0, writer.GetWriteBytes());
  EXPECT_EQ(0u, buffer_.GetDataSize());
}

TEST_F(BitWriter, TwoPiecesMakeAByte) {
  EXPECT_OK(Set(3, 0b101));
  ExpectAt(0, 4, 3, 0);
  EXPECT_OK(Set(5, 0b00110));
  ExpectAt(1, 7, 8, 1);
  EXPECT_EQ(Hex("A6"), Contents());
}

TEST_F(BitWriter, APartialByteStandsAtTheLowEnd) {
  EXPECT_OK(Set(3, 0b101));
  EXPECT_EQ(Hex("05"), Contents());
  EXPECT_OK(Set(1, 1));
  EXPECT_EQ(Hex("0B"), Contents());
}

TEST_F(BitWriter, AWholeAlignedByteLeavesAZeroByteBehindIt) {
  EXPECT_OK(Set(8, 0x5A));
  ExpectAt(1, 7, 8, 1);
  EXPECT_EQ(Hex("5A00"), Contents());
  EXPECT_OK(Set(16, 0x1234));
  EXPECT_EQ(Hex("5A123400"), Contents());
}

TEST_F(BitWriter, WritesAcrossBytes) {
  EXPECT_OK(Set(4, 0xA));
  EXPECT_OK(Set(32, 0xBCDEF012));
  ExpectAt(4, 3, 36, 4);
  EXPECT_OK(Set(4, 0x3));
  ExpectAt(5, 7, 40, 5);
  EXPECT_EQ(Hex("ABCDEF0123"), Contents());
}

TEST_F(BitWriter, WritesTheLowBitsOfTheValue) {
  EXPECT_OK(Set(4, 0xFFFFFFF5));
  EXPECT_OK(Set(12, 0xFFFFF678));
  EXPECT_EQ(Hex("567800"), Contents());
}

TEST_F(BitWriter, WritesNothingWithoutTouchingTheBuffer) {
  EXPECT_OK(Set(0, 0xFF));
  EXPECT_EQ(0u, buffer_.GetDataSize());
  EXPECT_OK(Set(3, 0b101));
  EXPECT_OK(Set(0, 0xFF));
  ExpectAt(0, 4, 3, 0);
  EXPECT_EQ(Hex("05"), Contents());
}

TEST_F(BitWriter, BitsBeyond32AreZero) {
  EXPECT_OK(Set(3, 0));
  EXPECT_OK(Set(45, 0x12345678));
  EXPECT_EQ(Hex("00001234567800"), Contents());
  ExpectAt(6, 7, 48, 6);
}

TEST_F(BitWriter, FillsTheBufferUpToItsPositionWithZeros) {
  QvBitWriter writer(&buffer_, 3, kAligned);
  EXPECT_OK(writer.SetBitValue(8, 0x5A));
  EXPECT_EQ(Hex("0000005A00"), Contents());
  QvBitWriter unaligned(&buffer_, 6, 3);
  EXPECT_OK(unaligned.SetBitValue(2, 3));
  EXPECT_EQ(Hex("0000005A000003"), Contents());
}

TEST_F(BitWriter, ShiftsOutWhatAByteHeld) {
  const Bytes old = Hex("FFFFFF");
  ASSERT_OK(buffer_.Push(old.data(), 3));
  EXPECT_OK(Set(3, 0b010));
  EXPECT_EQ(Hex("FAFFFF"), Contents());
  EXPECT_OK(Set(5, 0));
  EXPECT_EQ(Hex("40FFFF"), Contents());
  EXPECT_OK(Set(8, 0x12));
  EXPECT_EQ(Hex("4012FF"), Contents());
}

TEST_F(BitWriter, WritesIntoTheDataAndNotTheBlock) {
  const Bytes old = Hex("11223344");
  ASSERT_OK(buffer_.Push(old.data(), 4));
  ASSERT_OK(buffer_.Pop(2));
  EXPECT_OK(Set(8, 0x5A));
  EXPECT_EQ(Hex("5A44"), Contents());
}

TEST_F(BitWriter, RefusesWhatItCannotDo) {
  QvBitWriter nowhere(nullptr, 0, kAligned);
  EXPECT_RESULT(E_INVALIDARG, nowhere.SetBitValue(1, 1));
  EXPECT_RESULT(E_INVALIDARG, nowhere.SetBitValue(0, 1));
  EXPECT_RESULT(E_INVALIDARG, Set(-1, 1));
  QvBitWriter negative(&buffer_, -1, kAligned);
  EXPECT_RESULT(E_INVALIDARG, negative.SetBitValue(1, 1));
  for (const char index : {static_cast<char>(-1), static_cast<char>(8)}) {
    QvBitWriter astray(&buffer_, 0, index);
    EXPECT_OK(astray.SetBitValue(0, 1));
    EXPECT_RESULT(E_INVALIDARG, astray.SetBitValue(1, 1));
  }
  EXPECT_EQ(0u, buffer_.GetDataSize());
}

TEST_F(BitWriter, EndsWhereTheBufferCannotGrow) {
  constexpr long long kLast = std::numeric_limits<long long>::max();
  for (const long long position : {0xFFFFFFFFLL, kLast - 16, kLast - 14, kLast}) {
    QvBitWriter aligned(&buffer_, position, kAligned);
    EXPECT_RESULT(E_OUTOFMEMORY, aligned.SetBitValue(8, 1));
    EXPECT_RESULT(E_OUTOFMEMORY, aligned.SetBitValue(127, 1));
    EXPECT_RESULT(E_OUTOFMEMORY, aligned.SetBitValue(1, 1));
    QvBitWriter unaligned(&buffer_, position, 3);
    EXPECT_RESULT(E_OUTOFMEMORY, unaligned.SetBitValue(1, 1));
    EXPECT_EQ(0, aligned.GetWriteBits());
  }
  EXPECT_EQ(0u, buffer_.GetDataSize());
}

TEST_F(BitWriter, WhatItWritesTheReaderReads) {
  for (int bits = 1; bits <= 32; ++bits) {
    EXPECT_OK(Set(bits, 0x9E3779B9u * static_cast<unsigned int>(bits)));
  }
  EXPECT_OK(Set(writer_.GetCurrentBitIndex() + 1, 0));
  const Bytes written = Contents();
  QvBitReader reader = Reader(written);
  for (int bits = 1; bits <= 32; ++bits) {
    const unsigned int mask = 0xFFFFFFFFu >> (32 - bits);
    EXPECT_EQ((0x9E3779B9u * static_cast<unsigned int>(bits)) & mask, Get(reader, bits)) << bits;
  }
}
