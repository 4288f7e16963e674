#include "foundation/file_buffer.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/bytes.h"
#include "support/result_matchers.h"

using namespace QUIRVA;
using support::Bytes;
using support::Hex;

namespace {

const Bytes kBytes = Hex("000102030405060708090A0B0C0D0E0F");

HRESULT SetData(CFileBuffer& buffer, const Bytes& bytes) {
  return buffer.SetData(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

struct Answer {
  HRESULT result;
  const unsigned char* data;
  unsigned int length;
};

Answer Get(const CFileBuffer& buffer, long long position, unsigned int size) {
  static const unsigned char kUntouched = 0;
  Answer answer = {0, &kUntouched, 77};
  answer.result = buffer.GetData(position, size, answer.data, answer.length);
  return answer;
}

void ExpectNothing(const Answer& answer) {
  EXPECT_EQ(nullptr, answer.data);
  EXPECT_EQ(0u, answer.length);
}

}  // namespace

TEST(FileBuffer, LendsTheBytesAskedForOutOfItsCopy) {
  CFileBuffer buffer;
  Bytes bytes = kBytes;
  ASSERT_OK(SetData(buffer, bytes));
  bytes.assign(bytes.size(), 0xEE);
  EXPECT_EQ(16, buffer.GetFileSize());
  EXPECT_EQ(16u, buffer.GetBufferSize());
  const Answer all = Get(buffer, 0, 16);
  EXPECT_OK(all.result);
  EXPECT_EQ(kBytes, Bytes(all.data, all.data + all.length));
  const Answer some = Get(buffer, 3, 5);
  EXPECT_OK(some.result);
  EXPECT_EQ(all.data + 3, some.data);
  EXPECT_EQ(5u, some.length);
}

TEST(FileBuffer, AtOrBehindTheEndThereIsNothing) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  for (const long long position :
       {16LL, 17LL, 0x100000000LL, std::numeric_limits<long long>::max()}) {
    const Answer answer = Get(buffer, position, 1);
    EXPECT_RESULT(S_FALSE, answer.result) << position;
    ExpectNothing(answer);
  }
  EXPECT_RESULT(S_FALSE, Get(buffer, 16, 0).result);
}

TEST(FileBuffer, GivesTheRestAndSaysWhetherItIsAll) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  EXPECT_OK(Get(buffer, 10, 6).result);
  EXPECT_EQ(6u, Get(buffer, 10, 6).length);
  EXPECT_RESULT(S_FALSE, Get(buffer, 10, 7).result);
  EXPECT_EQ(6u, Get(buffer, 10, 7).length);
  EXPECT_EQ(6u, Get(buffer, 10, 0xFFFFFFFF).length);
}

TEST(FileBuffer, RefusesANegativePosition) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  const Answer answer = Get(buffer, -1, 1);
  EXPECT_RESULT(E_INVALIDARG, answer.result);
  ExpectNothing(answer);
  EXPECT_RESULT(E_INVALIDARG, Get(buffer, std::numeric_limits<long long>::min(), 1).result);
}

TEST(FileBuffer, EmptyHasNoBytesAndLeavesTheAnswerUntouched) {
  const CFileBuffer buffer;
  EXPECT_EQ(0, buffer.GetFileSize());
  EXPECT_EQ(0u, buffer.GetBufferSize());
  const Answer answer = Get(buffer, 0, 1);
  EXPECT_RESULT(E_POINTER, answer.result);
  EXPECT_NE(nullptr, answer.data);
  EXPECT_EQ(77u, answer.length);
}

TEST(FileBuffer, TakingNothingLeavesNothing) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  EXPECT_RESULT(E_INVALIDARG, buffer.SetData(kBytes.data(), 0));
  EXPECT_EQ(0, buffer.GetFileSize());
  EXPECT_RESULT(E_POINTER, Get(buffer, 0, 1).result);
  ASSERT_OK(SetData(buffer, kBytes));
  EXPECT_RESULT(E_INVALIDARG, buffer.SetData(nullptr, 5));
  EXPECT_EQ(0, buffer.GetFileSize());
  EXPECT_RESULT(E_POINTER, Get(buffer, 0, 1).result);
}

TEST(FileBuffer, SetDataReplacesWhatWasThere) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  ASSERT_OK(SetData(buffer, Hex("AABB")));
  EXPECT_EQ(2, buffer.GetFileSize());
  EXPECT_EQ(0xAA, Get(buffer, 0, 2).data[0]);
}

TEST(FileBuffer, SetDataTakesAPieceOfItself) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  ASSERT_OK(buffer.SetData(Get(buffer, 4, 2).data, 2));
  const Answer answer = Get(buffer, 0, 2);
  EXPECT_EQ(Hex("0405"), Bytes(answer.data, answer.data + answer.length));
}

TEST(FileBuffer, ResetAndCloseReaderDropTheBytes) {
  for (void (*drop)(CFileBuffer&) : {+[](CFileBuffer& buffer) { buffer.Reset(); },
                                     +[](CFileBuffer& buffer) { buffer.ResetBuffer(); },
                                     +[](CFileBuffer& buffer) { buffer.CloseReader(); }}) {
    CFileBuffer buffer;
    ASSERT_OK(SetData(buffer, kBytes));
    drop(buffer);
    EXPECT_EQ(0, buffer.GetFileSize());
    EXPECT_RESULT(E_POINTER, Get(buffer, 0, 1).result);
  }
}

TEST(FileBuffer, AnotherBufferSizeHasNoEffect) {
  CFileBuffer buffer;
  ASSERT_OK(SetData(buffer, kBytes));
  EXPECT_OK(buffer.SetBufferSize(4));
  EXPECT_EQ(16u, buffer.GetBufferSize());
  EXPECT_OK(Get(buffer, 0, 16).result);
}

TEST(FileBuffer, ServesTheReaderInterfaceAlone) {
  auto* buffer = new CFileBuffer;
  EXPECT_RESULT(E_POINTER, buffer->QueryInterface(IID_IQvFileReader, nullptr));
  void* object = nullptr;
  EXPECT_RESULT(E_NOINTERFACE, buffer->QueryInterface(IID_IUnknown, &object));
  EXPECT_EQ(nullptr, object);
  ASSERT_OK(buffer->QueryInterface(IID_IQvFileReader, &object));
  EXPECT_EQ(static_cast<IQvFileReader*>(buffer), object);
  EXPECT_EQ(2u, buffer->AddRef());
  EXPECT_EQ(1u, buffer->Release());
  EXPECT_EQ(0u, buffer->Release());
}
