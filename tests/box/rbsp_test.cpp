#include "box/rbsp.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/result_matchers.h"

namespace {

using H264::RbspReader;
using H264::RbspWriter;
using QUIRVA::QvMemBuffer;
using support::Bytes;
using support::Hex;

// "0 0101" as bytes, filled with zeros at the end; blanks are skipped.
Bytes Bits(const std::string& text) {
  Bytes bytes;
  unsigned int count = 0;
  for (const char c : text) {
    if (c == ' ') continue;
    if (count % 8 == 0) bytes.push_back(0);
    if (c == '1') bytes.back() = static_cast<unsigned char>(bytes.back() | 0x80u >> count % 8);
    ++count;
  }
  return bytes;
}

RbspReader Reader(const Bytes& bytes) {
  return RbspReader(bytes.data(), static_cast<long long>(bytes.size()), 7);
}

// What a writer's calls put out, closed by the trailing bits and as text: all bits in front of the
// stop bit.
std::string Written(const std::function<HRESULT(RbspWriter&)>& write) {
  QvMemBuffer buffer(0);
  RbspWriter writer(&buffer, 0, 7);
  EXPECT_OK(write(writer));
  const long long bits = writer.GetWriteBits();
  EXPECT_OK(writer.rbsp_trailing_bits());
  EXPECT_TRUE(writer.byte_aligned());
  std::string text;
  for (long long i = 0; i < bits; ++i)
    text += (buffer.GetData()[i / 8] >> (7 - i % 8) & 1) != 0 ? '1' : '0';
  return text;
}

// The bit strings of ISO/IEC 14496-10, table 9-2: prefixes of zeros, a 1, then as many free bits as
// zeros; the code numbers count through the free bits.
std::string CodeOf(unsigned long long number) {
  std::string zeros;
  unsigned long long first = 0;  // of the row
  while (number > 2 * first) {
    zeros += '0';
    first = 2 * first + 1;
  }
  std::string suffix;
  for (std::size_t bit = zeros.size(); bit > 0; --bit)
    suffix += ((number - first) >> (bit - 1) & 1) != 0 ? '1' : '0';
  return zeros + "1" + suffix;
}

TEST(ExpGolomb, TheTableOfTheTestIsThatOfTheStandard) {
  const char* table[] = {"1",     "010",   "011",     "00100",   "00101",
                         "00110", "00111", "0001000", "0001001", "0001010"};
  for (unsigned int number = 0; number < 10; ++number) EXPECT_EQ(table[number], CodeOf(number));
}

void ExpectCode(unsigned int number) {
  const std::string code = CodeOf(number);
  const Bytes bytes = Bits(code + "1");
  RbspReader reader = Reader(bytes);
  unsigned int value = 77;
  ASSERT_OK(reader.GetUnsignedExpGolombValue(&value));
  ASSERT_EQ(number, value);
  ASSERT_EQ(static_cast<long long>(code.size()), reader.GetReadBits());
  RbspReader again = Reader(bytes);
  ASSERT_OK(again.GetExponentialGolombNumber(&value));
  ASSERT_EQ(number, value);
  ASSERT_EQ(code,
            Written([&](RbspWriter& writer) { return writer.SetUnsignedExpGolombValue(number); }));
  ASSERT_EQ(code,
            Written([&](RbspWriter& writer) { return writer.SetExponentialGolombNumber(number); }));
  // Table 9-3: 0, 1, -1, 2, -2, …
  const long long magnitude = (number + 1LL) / 2;
  const auto expected = static_cast<int>(number % 2 == 1 ? magnitude : -magnitude);
  RbspReader asSigned = Reader(bytes);
  int signedValue = 77;
  ASSERT_OK(asSigned.GetSignedExpGolombValue(&signedValue));
  ASSERT_EQ(expected, signedValue);
  ASSERT_EQ(code,
            Written([&](RbspWriter& writer) { return writer.SetSignedExpGolombValue(expected); }));
}

TEST(ExpGolomb, AgreesWithTheTableInBothDirections) {
  for (unsigned int number = 0; number <= 10000; ++number) {
    SCOPED_TRACE(number);
    ASSERT_NO_FATAL_FAILURE(ExpectCode(number));
  }
}

TEST(ExpGolomb, AgreesWithTheTableAtTheEndsOfItsRows) {
  for (unsigned int bits = 1; bits < 32; ++bits) {
    const unsigned int first = (1u << bits) - 1;
    for (const unsigned int number : {first - 1, first, first + 1}) {
      SCOPED_TRACE(number);
      ASSERT_NO_FATAL_FAILURE(ExpectCode(number));
    }
  }
  ASSERT_NO_FATAL_FAILURE(ExpectCode(0xFFFFFFFD));
  ASSERT_NO_FATAL_FAILURE(ExpectCode(0xFFFFFFFE));
}

TEST(ExpGolomb, KnownSignedValues) {
  const Bytes bytes = Bits("00101");
  RbspReader reader = Reader(bytes);
  int value = 0;
  ASSERT_OK(reader.GetSignedExpGolombValue(&value));
  EXPECT_EQ(-2, value);
  EXPECT_EQ("00101",
            Written([](RbspWriter& writer) { return writer.SetSignedExpGolombValue(-2); }));
  EXPECT_EQ("00100", Written([](RbspWriter& writer) { return writer.SetSignedExpGolombValue(2); }));
}

TEST(ExpGolomb, SignedExtremes) {
  for (const int number : {0x7FFFFFFF, -0x7FFFFFFF, 1, 0, -1}) {
    const std::string code =
        Written([=](RbspWriter& writer) { return writer.SetSignedExpGolombValue(number); });
    const Bytes bytes = Bits(code);
    RbspReader reader = Reader(bytes);
    int value = 77;
    ASSERT_OK(reader.GetSignedExpGolombValue(&value));
    EXPECT_EQ(number, value);
  }
  // Twice the smallest number wraps to 0.
  EXPECT_EQ("1", Written([](RbspWriter& writer) {
              return writer.SetSignedExpGolombValue(-0x7FFFFFFF - 1);
            }));
}

TEST(ExpGolomb, TheLargestNumberIsASingleZeroBit) {
  EXPECT_EQ("0", Written([](RbspWriter& writer) {
              return writer.SetUnsignedExpGolombValue(0xFFFFFFFF);
            }));
}

TEST(ExpGolomb, ReadsNumberAfterNumber) {
  const Bytes bytes = Bits("1 010 00100 0001010 1 011");
  RbspReader reader = Reader(bytes);
  std::vector<unsigned int> numbers(6);
  for (unsigned int& number : numbers) ASSERT_OK(reader.GetUnsignedExpGolombValue(&number));
  EXPECT_EQ((std::vector<unsigned int>{0, 1, 3, 9, 0, 2}), numbers);
}

TEST(ExpGolomb, NeedsAPlaceAndData) {
  const Bytes bytes = Bits("1");
  RbspReader reader = Reader(bytes);
  EXPECT_RESULT(E_POINTER, reader.GetExponentialGolombNumber(nullptr));
  EXPECT_RESULT(E_POINTER, reader.GetUnsignedExpGolombValue(nullptr));
  EXPECT_RESULT(E_POINTER, reader.GetSignedExpGolombValue(nullptr));
  EXPECT_EQ(0, reader.GetReadBits());
  RbspReader without(nullptr, 8, 7);
  unsigned int value = 77;
  int signedValue = 77;
  EXPECT_RESULT(E_POINTER, without.GetExponentialGolombNumber(nullptr));
  EXPECT_RESULT(E_INVALIDARG, without.GetExponentialGolombNumber(&value));
  EXPECT_EQ(77u, value);
  EXPECT_RESULT(E_INVALIDARG, without.GetUnsignedExpGolombValue(&value));
  EXPECT_EQ(0u, value);
  EXPECT_RESULT(E_INVALIDARG, without.GetSignedExpGolombValue(&signedValue));
}

TEST(ExpGolomb, ACutNumberLeavesZero) {
  for (const char* text : {"00000000", "00000001", "00001010"}) {
    SCOPED_TRACE(text);
    const Bytes bytes = Bits(text);
    RbspReader reader = Reader(bytes);
    unsigned int value = 77;
    EXPECT_RESULT(E_NO_MORE_ITEMS, reader.GetExponentialGolombNumber(&value));
    EXPECT_EQ(0u, value);
    RbspReader unsignedReader = Reader(bytes);
    value = 77;
    EXPECT_RESULT(E_NO_MORE_ITEMS, unsignedReader.GetUnsignedExpGolombValue(&value));
    EXPECT_EQ(0u, value);
    RbspReader signedReader = Reader(bytes);
    int signedValue = 77;
    EXPECT_RESULT(E_NO_MORE_ITEMS, signedReader.GetSignedExpGolombValue(&signedValue));
    EXPECT_EQ(0, signedValue);
  }
  const Bytes control = Bits("00010101");
  RbspReader reader = Reader(control);
  unsigned int value = 0;
  EXPECT_OK(reader.GetExponentialGolombNumber(&value));
}

TEST(ExpGolomb, PrefixesBeyondTheStandardKeepTheLow32Bits) {
  for (const std::size_t zeros : {32u, 33u, 100u, 127u, 128u, 200u, 255u}) {
    SCOPED_TRACE(zeros);
    // The free bits end in the 32 that count.
    const std::string low = "00000000000000000001001000110100";  // 0x1234
    const std::string text = std::string(zeros, '0') + "1" + std::string(zeros - 32, '1') + low;
    const Bytes bytes = Bits(text);
    RbspReader reader = Reader(bytes);
    unsigned int value = 0;
    ASSERT_OK(reader.GetExponentialGolombNumber(&value));
    EXPECT_EQ(0x1233u, value);
    EXPECT_EQ(static_cast<long long>(text.size()), reader.GetReadBits());
    RbspReader cut(bytes.data(), static_cast<long long>(zeros) / 8 + 2, 7);
    EXPECT_RESULT(E_NO_MORE_ITEMS, cut.GetExponentialGolombNumber(&value));
  }
}

TEST(ExpGolomb, ThePrefixIsCountedIn8Bits) {
  const Bytes bytes = Bits(std::string(258, '0') + "1 11");
  RbspReader reader = Reader(bytes);
  unsigned int value = 0;
  ASSERT_OK(reader.GetExponentialGolombNumber(&value));
  EXPECT_EQ(4u + 3 - 1, value);
}

TEST(ExpGolomb, AMegabyteOfZerosEnds) {
  const Bytes bytes = support::Zeros(1 << 20);
  RbspReader reader = Reader(bytes);
  unsigned int value = 0;
  EXPECT_RESULT(E_NO_MORE_ITEMS, reader.GetExponentialGolombNumber(&value));
  EXPECT_FALSE(reader.more_rbsp_trailing_data());
}

TEST(RbspReader, TellsTrailingBitsFromDataInTheLastByte) {
  // With `read` bits taken, what is left of the last byte is a 1 and zeros, or it is data.
  for (unsigned int last = 0; last < 256; ++last) {
    for (int read = 0; read < 8; ++read) {
      SCOPED_TRACE(testing::Message() << last << " behind " << read << " bits");
      const Bytes bytes = {0xFF, static_cast<unsigned char>(last)};
      RbspReader reader = Reader(bytes);
      unsigned int value = 0;
      ASSERT_OK(reader.GetBitValue(static_cast<char>(8 + read), &value));
      const unsigned int left = last & (0xFFu >> read);
      EXPECT_EQ(left != 0x80u >> read, reader.more_rbsp_data());
      EXPECT_EQ(8 + read, reader.GetReadBits()) << "looking takes nothing";
    }
  }
}

TEST(RbspReader, MoreThanEightBitsAreData) {
  const Bytes bytes = Hex("80 80 00");
  RbspReader reader = Reader(bytes);
  EXPECT_TRUE(reader.more_rbsp_data());
  unsigned int value = 0;
  ASSERT_OK(reader.GetBitValue(8, &value));
  EXPECT_TRUE(reader.more_rbsp_data()) << "16 bits, though only a stop bit and zeros";
  ASSERT_OK(reader.GetBitValue(8, &value));
  EXPECT_TRUE(reader.more_rbsp_data()) << "zeros without a stop bit";
}

TEST(RbspReader, TheEndCountsAsData) {
  const Bytes bytes = Hex("80");
  RbspReader reader = Reader(bytes);
  EXPECT_FALSE(reader.more_rbsp_data());
  unsigned int value = 0;
  ASSERT_OK(reader.GetBitValue(8, &value));
  EXPECT_TRUE(reader.more_rbsp_data());
  EXPECT_TRUE(RbspReader(nullptr, 0, 7).more_rbsp_data());
  EXPECT_TRUE(RbspReader(nullptr, 1, 7).more_rbsp_data());
}

TEST(RbspReader, LooksAheadFromAStartInsideAByte) {
  // Bits 3 to 0 of the only byte.
  const Bytes stop = Hex("F8");
  EXPECT_FALSE(RbspReader(stop.data(), 1, 3).more_rbsp_data());
  const Bytes data = Hex("FC");
  EXPECT_TRUE(RbspReader(data.data(), 1, 3).more_rbsp_data());
}

TEST(RbspReader, TrailingDataIsAnyByteThatIsLeft) {
  const Bytes bytes = Hex("80 00");
  RbspReader reader = Reader(bytes);
  unsigned int value = 0;
  for (int i = 0; i < 16; ++i) {
    EXPECT_TRUE(reader.more_rbsp_trailing_data());
    EXPECT_EQ(i % 8 == 0, reader.byte_aligned());
    ASSERT_OK(reader.GetBitValue(1, &value));
  }
  EXPECT_FALSE(reader.more_rbsp_trailing_data());
  EXPECT_TRUE(reader.byte_aligned());
}

TEST(RbspReader, ReadsTrailingBitsToTheEndOfTheByte) {
  for (int before = 0; before < 8; ++before) {
    SCOPED_TRACE(before);
    const Bytes bytes = {static_cast<unsigned char>(0x80 >> before), 0xFF};
    RbspReader reader = Reader(bytes);
    unsigned int value = 0;
    ASSERT_OK(reader.GetBitValue(static_cast<char>(before), &value));
    EXPECT_OK(reader.rbsp_trailing_bits());
    EXPECT_EQ(8, reader.GetReadBits());
  }
}

TEST(RbspReader, RefusesTrailingBitsThatAreNone) {
  const Bytes noStop = Hex("40");
  RbspReader first = Reader(noStop);
  EXPECT_RESULT(E_UNEXPECTED, first.rbsp_trailing_bits());
  EXPECT_EQ(1, first.GetReadBits());
  const Bytes secondOne = Hex("90");
  RbspReader second = Reader(secondOne);
  EXPECT_RESULT(E_UNEXPECTED, second.rbsp_trailing_bits());
  EXPECT_EQ(4, second.GetReadBits());
  RbspReader empty(secondOne.data(), 0, 7);
  EXPECT_RESULT(E_NO_MORE_ITEMS, empty.rbsp_trailing_bits());
  RbspReader without(nullptr, 1, 7);
  EXPECT_RESULT(E_INVALIDARG, without.rbsp_trailing_bits());
}

TEST(RbspWriter, WritesTrailingBitsToTheEndOfTheByte) {
  for (int before = 0; before < 8; ++before) {
    SCOPED_TRACE(before);
    QvMemBuffer buffer(0);
    RbspWriter writer(&buffer, 0, 7);
    ASSERT_OK(writer.SetBitValue(static_cast<char>(before), 0));
    EXPECT_EQ(before == 0, writer.byte_aligned());
    ASSERT_OK(writer.rbsp_trailing_bits());
    EXPECT_TRUE(writer.byte_aligned());
    EXPECT_EQ(8, writer.GetWriteBits());
    EXPECT_EQ(0x80 >> before, buffer.GetData()[0]);
  }
}

TEST(RbspWriter, NeedsABuffer) {
  RbspWriter writer(nullptr, 0, 7);
  EXPECT_RESULT(E_INVALIDARG, writer.SetExponentialGolombNumber(3));
  EXPECT_RESULT(E_INVALIDARG, writer.SetUnsignedExpGolombValue(0));
  EXPECT_RESULT(E_INVALIDARG, writer.SetSignedExpGolombValue(-2));
  EXPECT_RESULT(E_INVALIDARG, writer.rbsp_trailing_bits());
}

}  // namespace
