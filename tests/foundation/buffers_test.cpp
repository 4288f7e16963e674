#include "foundation/buffers.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <new>
#include <optional>

#include "support/bytes.h"
#include "support/result_matchers.h"

using namespace QUIRVA;
using support::Bytes;
using support::Fill;
using support::Hex;
using support::Zeros;
using support::operator+;

namespace {

constexpr unsigned int kLargest = std::numeric_limits<unsigned int>::max();

Bytes Contents(const CSimpleBuffer& buffer) {
  return {buffer.GetData(), buffer.GetData() + buffer.GetSize()};
}
Bytes Contents(const CustomBuffer& buffer) {
  return {buffer.GetData(), buffer.GetData() + buffer.GetUsedSize()};
}
Bytes Contents(const QvMemBuffer& buffer) {
  return {buffer.GetData(), buffer.GetData() + buffer.GetDataSize()};
}

HRESULT SetData(CSimpleBuffer& buffer, const Bytes& bytes) {
  return buffer.SetData(bytes.data(), static_cast<unsigned int>(bytes.size()));
}
HRESULT Add(CustomBuffer& buffer, const Bytes& bytes) {
  return buffer.Add(bytes.data(), static_cast<unsigned int>(bytes.size()));
}
HRESULT Push(QvMemBuffer& buffer, const Bytes& bytes) {
  return buffer.Push(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

long HeadOffset(const QvMemBuffer& buffer) { return buffer.GetData() - buffer.GetBlock(); }

// Lets the process have only a little more address space than it has.
class MemoryLimit {
 public:
  MemoryLimit() {
    constexpr rlim_t kHeadroom = 64 << 20;
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    getrlimit(RLIMIT_AS, &before_);
    const auto pageSize = static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    const rlimit limit = {pages * pageSize + kHeadroom, before_.rlim_max};
    setrlimit(RLIMIT_AS, &limit);
  }
  ~MemoryLimit() { setrlimit(RLIMIT_AS, &before_); }
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

 private:
  rlimit before_;
};

class SealableBuffer : public CustomBuffer {
 public:
  void Seal() { addPermitted_ = 0; }
};

}  // namespace

// Under the address sanitizer too, an allocation that fails shall answer and not end the process.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

TEST(SimpleBuffer, StartsEmpty) {
  const CSimpleBuffer buffer;
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetSize());
}

TEST(SimpleBuffer, SetSizeGivesZeros) {
  CSimpleBuffer buffer;
  EXPECT_OK(buffer.SetSize(5));
  EXPECT_EQ(Zeros(5), Contents(buffer));
}

TEST(SimpleBuffer, SetSizeToThePresentSizeKeepsTheContents) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("010203")));
  const unsigned char* block = buffer.GetData();
  EXPECT_OK(buffer.SetSize(3));
  EXPECT_EQ(block, buffer.GetData());
  EXPECT_EQ(Hex("010203"), Contents(buffer));
}

TEST(SimpleBuffer, SetSizeToAnotherSizeDropsTheContents) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("010203")));
  EXPECT_OK(buffer.SetSize(4));
  EXPECT_EQ(Zeros(4), Contents(buffer));
  ASSERT_OK(SetData(buffer, Hex("01020304")));
  EXPECT_OK(buffer.SetSize(2));
  EXPECT_EQ(Zeros(2), Contents(buffer));
}

TEST(SimpleBuffer, SetSizeToZeroFreesTheBlock) {
  CSimpleBuffer buffer;
  ASSERT_OK(buffer.SetSize(3));
  EXPECT_OK(buffer.SetSize(0));
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetSize());
}

TEST(SimpleBuffer, RefusesASizeBeyond32BitsAndKeepsItsData) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("0102")));
  EXPECT_RESULT(E_INVALIDARG, buffer.SetSize(0x100000000));
  EXPECT_EQ(Hex("0102"), Contents(buffer));
}

TEST(SimpleBuffer, ResetAndResetBufferEmptyIt) {
  CSimpleBuffer buffer;
  ASSERT_OK(buffer.SetSize(3));
  buffer.Reset();
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetSize());
  ASSERT_OK(buffer.SetSize(3));
  buffer.ResetBuffer();
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetSize());
}

TEST(SimpleBuffer, SetDataOfThePresentSizeOverwritesInPlace) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("010203")));
  const unsigned char* block = buffer.GetData();
  EXPECT_OK(SetData(buffer, Hex("040506")));
  EXPECT_EQ(block, buffer.GetData());
  EXPECT_EQ(Hex("040506"), Contents(buffer));
}

TEST(SimpleBuffer, SetDataOfAnotherSizeReplaces) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("010203")));
  EXPECT_OK(SetData(buffer, Hex("0405")));
  EXPECT_EQ(Hex("0405"), Contents(buffer));
}

TEST(SimpleBuffer, SetDataRefusesNullAndEmptyAndKeepsItsData) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("010203")));
  EXPECT_RESULT(E_INVALIDARG, buffer.SetData(nullptr, 3));
  EXPECT_RESULT(E_INVALIDARG, buffer.SetData(buffer.GetData(), 0));
  EXPECT_EQ(Hex("010203"), Contents(buffer));
}

TEST(SimpleBuffer, SetDataTakesAPieceOfItself) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("01020304")));
  EXPECT_OK(buffer.SetData(buffer.GetData() + 1, 2));
  EXPECT_EQ(Hex("0203"), Contents(buffer));
}

TEST(SimpleBuffer, CopyTakesTheOthersData) {
  CSimpleBuffer source;
  ASSERT_OK(SetData(source, Hex("0102")));
  CSimpleBuffer target;
  ASSERT_OK(SetData(target, Hex("090909")));
  EXPECT_OK(target.Copy(source));
  EXPECT_EQ(Hex("0102"), Contents(target));
  EXPECT_NE(source.GetData(), target.GetData());
  EXPECT_EQ(Hex("0102"), Contents(source));
}

TEST(SimpleBuffer, CopyOfAnEmptyOneIsRefusedAndTheDataStay) {
  const CSimpleBuffer empty;
  CSimpleBuffer target;
  ASSERT_OK(SetData(target, Hex("0102")));
  EXPECT_RESULT(E_INVALIDARG, target.Copy(empty));
  EXPECT_EQ(Hex("0102"), Contents(target));
  target = empty;
  EXPECT_EQ(Hex("0102"), Contents(target));
}

TEST(SimpleBuffer, CopyOfTheSameBlockDoesNothing) {
  CSimpleBuffer empty;
  const CSimpleBuffer alsoEmpty;
  EXPECT_OK(empty.Copy(alsoEmpty));
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("0102")));
  const unsigned char* block = buffer.GetData();
  EXPECT_OK(buffer.Copy(buffer));
  EXPECT_EQ(block, buffer.GetData());
  EXPECT_EQ(Hex("0102"), Contents(buffer));
}

TEST(SimpleBuffer, AssignmentAndCopyConstructionCopyTheBytes) {
  CSimpleBuffer source;
  ASSERT_OK(SetData(source, Hex("0102")));
  CSimpleBuffer assigned;
  EXPECT_EQ(&assigned, &(assigned = source));
  const CSimpleBuffer made(source);
  source.GetData()[0] = 9;
  EXPECT_EQ(Hex("0102"), Contents(assigned));
  EXPECT_EQ(Hex("0102"), Contents(made));
}

TEST(SimpleBuffer, CopyConstructedFromAnEmptyOneIsEmpty) {
  const CSimpleBuffer empty;
  const CSimpleBuffer made(empty);
  EXPECT_EQ(nullptr, made.GetData());
  EXPECT_EQ(0u, made.GetSize());
}

TEST(ZeroedBlock, IsZeroWhateverWasThereBefore) {
  for (const std::size_t size : {1u, 1000u, 1u << 20, (1u << 20) + 1, 16u << 20}) {
    for (int turn = 0; turn < 2; ++turn) {
      const MemoryBlock block = MakeZeroedBlock(size);
      EXPECT_TRUE(std::all_of(block.get(), block.get() + size,
                              [](unsigned char byte) { return byte == 0; }));
      std::fill_n(block.get(), size, static_cast<unsigned char>(0xFF));
    }
  }
  EXPECT_EQ(nullptr, MakeZeroedBlock(0));
}

TEST(ZeroedBlock, ThrowsWithoutMemory) {
  const auto tooMuch = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
  EXPECT_THROW(MakeZeroedBlock(tooMuch), std::bad_alloc);
}

TEST(CustomBuffer, GrowsFromASmallBlockToALargeOne) {
  CustomBuffer buffer;
  const Bytes bytes = Fill(700000, 0xAB);
  ASSERT_OK(Add(buffer, bytes));
  ASSERT_OK(Add(buffer, bytes));
  EXPECT_EQ(1400000u, buffer.GetCapacity());
  EXPECT_EQ(bytes + bytes, Contents(buffer));
  ASSERT_OK(buffer.Allocate(16 << 20));
  EXPECT_EQ(bytes + bytes, Contents(buffer));
  EXPECT_EQ(0, buffer.GetData()[1400000]);
}

TEST(CustomBuffer, StartsEmpty) {
  const CustomBuffer buffer;
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetCapacity());
  EXPECT_EQ(0u, buffer.GetUsedSize());
}

TEST(CustomBuffer, AddsInOrderIntoABlockOfExactlyTheSum) {
  CustomBuffer buffer;
  EXPECT_OK(Add(buffer, Hex("01020304")));
  EXPECT_EQ(4u, buffer.GetCapacity());
  EXPECT_OK(Add(buffer, Hex("05060708")));
  EXPECT_EQ(8u, buffer.GetCapacity());
  EXPECT_EQ(8u, buffer.GetUsedSize());
  EXPECT_EQ(Hex("0102030405060708"), Contents(buffer));
}

TEST(CustomBuffer, AddsIntoTheRoomThatIsThere) {
  CustomBuffer buffer;
  ASSERT_OK(buffer.Allocate(16));
  const unsigned char* block = buffer.GetData();
  EXPECT_OK(Add(buffer, Hex("01020304")));
  EXPECT_EQ(block, buffer.GetData());
  EXPECT_EQ(16u, buffer.GetCapacity());
  EXPECT_EQ(4u, buffer.GetUsedSize());
  EXPECT_OK(Add(buffer, Fill(12, 5)));
  EXPECT_EQ(block, buffer.GetData());
  EXPECT_EQ(Hex("01020304") + Fill(12, 5), Contents(buffer));
}

TEST(CustomBuffer, AddRefusesNullEmptyAndWhatIsNotPermitted) {
  SealableBuffer buffer;
  const Bytes bytes = Hex("0102");
  EXPECT_RESULT(S_FALSE, buffer.Add(nullptr, 2));
  EXPECT_RESULT(S_FALSE, buffer.Add(bytes.data(), 0));
  buffer.Seal();
  EXPECT_RESULT(S_FALSE, Add(buffer, bytes));
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetUsedSize());
  buffer.Reset();
  EXPECT_OK(Add(buffer, bytes));
  EXPECT_EQ(bytes, Contents(buffer));
}

TEST(CustomBuffer, AddTakesAPieceOfItself) {
  CustomBuffer buffer;
  ASSERT_OK(Add(buffer, Hex("010203")));
  EXPECT_OK(buffer.Add(buffer.GetData() + 1, 2));
  EXPECT_EQ(Hex("0102030203"), Contents(buffer));
}

TEST(CustomBuffer, AddRefusesASumBeyond32Bits) {
  CustomBuffer buffer;
  const Bytes bytes = Hex("0102");
  ASSERT_OK(Add(buffer, bytes));
  EXPECT_RESULT(E_OUTOFMEMORY, buffer.Add(bytes.data(), kLargest - 1));
  EXPECT_EQ(bytes, Contents(buffer));
}

TEST(CustomBuffer, AllocateKeepsTheUsedBytesAndZeroesTheRest) {
  CustomBuffer buffer;
  ASSERT_OK(Add(buffer, Hex("0102")));
  EXPECT_OK(buffer.Allocate(5));
  EXPECT_EQ(5u, buffer.GetCapacity());
  EXPECT_EQ(2u, buffer.GetUsedSize());
  EXPECT_EQ(Hex("0102000000"), Bytes(buffer.GetData(), buffer.GetData() + 5));
}

TEST(CustomBuffer, AllocateNeverShrinks) {
  CustomBuffer buffer;
  ASSERT_OK(buffer.Allocate(5));
  const unsigned char* block = buffer.GetData();
  EXPECT_OK(buffer.Allocate(5));
  EXPECT_OK(buffer.Allocate(4));
  EXPECT_EQ(block, buffer.GetData());
  EXPECT_EQ(5u, buffer.GetCapacity());
}

TEST(CustomBuffer, AllocateOfNothingMakesNoBlock) {
  CustomBuffer buffer;
  EXPECT_OK(buffer.Allocate(0));
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetCapacity());
}

TEST(CustomBuffer, ClearZeroesTheUsedBytesAlone) {
  CustomBuffer buffer;
  ASSERT_OK(Add(buffer, Hex("010203")));
  buffer.SetUsedSize(2);
  buffer.Clear();
  EXPECT_EQ(0u, buffer.GetUsedSize());
  EXPECT_EQ(3u, buffer.GetCapacity());
  EXPECT_EQ(Hex("000003"), Bytes(buffer.GetData(), buffer.GetData() + 3));
}

TEST(CustomBuffer, ClearWithoutABlockIsHarmless) {
  CustomBuffer buffer;
  buffer.Clear();
  EXPECT_EQ(0u, buffer.GetUsedSize());
  EXPECT_EQ(nullptr, buffer.GetData());
}

TEST(CustomBuffer, ResetFreesTheBlock) {
  CustomBuffer buffer;
  ASSERT_OK(Add(buffer, Hex("010203")));
  buffer.Reset();
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetCapacity());
  EXPECT_EQ(0u, buffer.GetUsedSize());
}

TEST(CustomBuffer, UsedSizeNeverExceedsTheCapacity) {
  CustomBuffer buffer;
  ASSERT_OK(buffer.Allocate(4));
  buffer.SetUsedSize(4);
  EXPECT_EQ(4u, buffer.GetUsedSize());
  buffer.SetUsedSize(5);
  EXPECT_EQ(4u, buffer.GetUsedSize());
}

TEST(MemBuffer, OfNothingHasNoBlockAndGrowsByAnEighthMore) {
  QvMemBuffer buffer(0);
  EXPECT_EQ(nullptr, buffer.GetBlock());
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetCapacity());
  EXPECT_OK(Push(buffer, Hex("0102030405060708")));
  EXPECT_EQ(9u, buffer.GetCapacity());
  EXPECT_EQ(Hex("0102030405060708"), Contents(buffer));
}

TEST(MemBuffer, TheEighthIsRoundedDown) {
  EXPECT_EQ(7u, QvMemBuffer(7).GetCapacity());
  EXPECT_EQ(9u, QvMemBuffer(8).GetCapacity());
  EXPECT_EQ(16u, QvMemBuffer(15).GetCapacity());
  EXPECT_EQ(18u, QvMemBuffer(16).GetCapacity());
}

TEST(MemBuffer, ReallocationMovesTheDataToTheStartOfTheNewBlock) {
  QvMemBuffer buffer(4);
  ASSERT_OK(Push(buffer, Hex("01020304")));
  ASSERT_OK(buffer.Pop(1));
  EXPECT_OK(buffer.MemReAlloc(16));
  EXPECT_EQ(18u, buffer.GetCapacity());
  EXPECT_EQ(0, HeadOffset(buffer));
  EXPECT_EQ(Hex("020304"), Contents(buffer));
}

TEST(MemBuffer, ReallocationToLessChangesNothing) {
  QvMemBuffer buffer(16);
  ASSERT_OK(Push(buffer, Hex("01020304")));
  ASSERT_OK(buffer.Pop(1));
  const unsigned char* block = buffer.GetBlock();
  EXPECT_OK(buffer.MemReAlloc(16));
  EXPECT_OK(buffer.MemReAlloc(1));
  EXPECT_EQ(block, buffer.GetBlock());
  EXPECT_EQ(18u, buffer.GetCapacity());
  EXPECT_EQ(1, HeadOffset(buffer));
  EXPECT_EQ(Hex("020304"), Contents(buffer));
}

TEST(MemBuffer, PushReclaimsTheRoomInFrontOfTheHeadInsteadOfAllocating) {
  QvMemBuffer buffer(15);
  ASSERT_EQ(16u, buffer.GetCapacity());
  ASSERT_OK(Push(buffer, Zeros(10) + Hex("01020304")));
  ASSERT_OK(buffer.Pop(10));
  ASSERT_EQ(10, HeadOffset(buffer));
  const unsigned char* block = buffer.GetBlock();
  EXPECT_OK(Push(buffer, Fill(10, 0xAA)));
  EXPECT_EQ(block, buffer.GetBlock());
  EXPECT_EQ(16u, buffer.GetCapacity());
  EXPECT_EQ(0, HeadOffset(buffer));
  EXPECT_EQ(Hex("01020304") + Fill(10, 0xAA), Contents(buffer));
}

TEST(MemBuffer, PushLeavesTheHeadWhileTheDataEndInsideTheBlock) {
  QvMemBuffer buffer(15);
  ASSERT_OK(Push(buffer, Zeros(10) + Hex("01020304")));
  ASSERT_OK(buffer.Pop(10));
  EXPECT_OK(Push(buffer, Fill(2, 0xAA)));
  EXPECT_EQ(10, HeadOffset(buffer));
  EXPECT_EQ(Hex("01020304AAAA"), Contents(buffer));
  EXPECT_OK(Push(buffer, Fill(1, 0xBB)));
  EXPECT_EQ(0, HeadOffset(buffer));
  EXPECT_EQ(Hex("01020304AAAABB"), Contents(buffer));
}

TEST(MemBuffer, PushBeyondTheCapacityAllocatesForAllData) {
  QvMemBuffer buffer(8);
  ASSERT_OK(Push(buffer, Fill(8, 1)));
  ASSERT_OK(buffer.Pop(2));
  EXPECT_OK(Push(buffer, Fill(10, 2)));
  EXPECT_EQ(18u, buffer.GetCapacity());
  EXPECT_EQ(0, HeadOffset(buffer));
  EXPECT_EQ(Fill(6, 1) + Fill(10, 2), Contents(buffer));
}

TEST(MemBuffer, PushOfNothingIsDone) {
  QvMemBuffer buffer(0);
  EXPECT_OK(buffer.Push(nullptr, 0));
  EXPECT_EQ(0u, buffer.GetDataSize());
  EXPECT_EQ(nullptr, buffer.GetBlock());
}

TEST(MemBuffer, BuffAllocAddsWhatTheBlockHolds) {
  QvMemBuffer buffer(15);
  ASSERT_OK(Push(buffer, Hex("01020304")));
  ASSERT_OK(buffer.CutTail(2));
  EXPECT_OK(buffer.BuffAlloc(2));
  EXPECT_EQ(Hex("01020304"), Contents(buffer));
}

TEST(MemBuffer, BuffAllocGrowsAndReclaimsLikePush) {
  QvMemBuffer buffer(0);
  EXPECT_OK(buffer.BuffAlloc(8));
  EXPECT_EQ(9u, buffer.GetCapacity());
  EXPECT_EQ(8u, buffer.GetDataSize());
  ASSERT_OK(buffer.Pop(7));
  buffer.GetData()[0] = 0x55;
  EXPECT_OK(buffer.BuffAlloc(3));
  EXPECT_EQ(9u, buffer.GetCapacity());
  EXPECT_EQ(0, HeadOffset(buffer));
  EXPECT_EQ(4u, buffer.GetDataSize());
  EXPECT_EQ(0x55, buffer.GetData()[0]);
}

TEST(MemBuffer, PopTakesFromTheHead) {
  QvMemBuffer buffer(8);
  ASSERT_OK(Push(buffer, Hex("01020304")));
  EXPECT_OK(buffer.Pop(0));
  EXPECT_EQ(Hex("01020304"), Contents(buffer));
  EXPECT_OK(buffer.Pop(3));
  EXPECT_EQ(3, HeadOffset(buffer));
  EXPECT_EQ(Hex("04"), Contents(buffer));
}

TEST(MemBuffer, PopOfAllDataOrMoreMovesTheHeadBack) {
  for (const unsigned int size : {3u, 4u}) {
    QvMemBuffer buffer(8);
    ASSERT_OK(Push(buffer, Hex("01020304")));
    ASSERT_OK(buffer.Pop(1));
    EXPECT_OK(buffer.Pop(size));
    EXPECT_EQ(0u, buffer.GetDataSize());
    EXPECT_EQ(0, HeadOffset(buffer));
  }
}

TEST(MemBuffer, CutTailTakesFromTheTailAndLeavesTheHead) {
  QvMemBuffer buffer(8);
  ASSERT_OK(Push(buffer, Hex("01020304")));
  ASSERT_OK(buffer.Pop(1));
  EXPECT_OK(buffer.CutTail(0));
  EXPECT_EQ(Hex("020304"), Contents(buffer));
  EXPECT_OK(buffer.CutTail(1));
  EXPECT_EQ(Hex("0203"), Contents(buffer));
  EXPECT_OK(buffer.CutTail(3));
  EXPECT_EQ(0u, buffer.GetDataSize());
  EXPECT_EQ(1, HeadOffset(buffer));
}

TEST(MemBuffer, ResetPopsEverything) {
  QvMemBuffer buffer(8);
  ASSERT_OK(Push(buffer, Hex("01020304")));
  ASSERT_OK(buffer.Pop(1));
  buffer.Reset();
  EXPECT_EQ(0u, buffer.GetDataSize());
  EXPECT_EQ(0, HeadOffset(buffer));
  EXPECT_EQ(9u, buffer.GetCapacity());
}

TEST(MemBuffer, SetMemZeroZeroesTheWholeBlockAndMovesNothing) {
  QvMemBuffer buffer(8);
  ASSERT_OK(Push(buffer, Fill(9, 0xFF)));
  ASSERT_OK(buffer.Pop(2));
  ASSERT_OK(buffer.CutTail(3));
  buffer.SetMemZero();
  EXPECT_EQ(Zeros(9), Bytes(buffer.GetBlock(), buffer.GetBlock() + 9));
  EXPECT_EQ(2, HeadOffset(buffer));
  EXPECT_EQ(4u, buffer.GetDataSize());
  QvMemBuffer(0).SetMemZero();
}

TEST(MemBuffer, WithoutMemoryEverythingStays) {
  QvMemBuffer buffer(4);
  ASSERT_OK(Push(buffer, Hex("010203")));
  ASSERT_OK(buffer.Pop(1));
  const unsigned char* block = buffer.GetBlock();
  HRESULT results[3] = {};
  {
    const MemoryLimit limit;
    results[0] = buffer.MemReAlloc(0x40000000);
    results[1] = buffer.BuffAlloc(0x40000000);
    results[2] = buffer.Push(block, 0x40000000);
  }
  for (const HRESULT result : results) EXPECT_RESULT(E_OUTOFMEMORY, result);
  EXPECT_EQ(block, buffer.GetBlock());
  EXPECT_EQ(1, HeadOffset(buffer));
  EXPECT_EQ(4u, buffer.GetCapacity());
  EXPECT_EQ(Hex("0203"), Contents(buffer));
}

TEST(MemBuffer, MadeWithoutMemoryIsEmptyAndGrowsLater) {
  std::optional<QvMemBuffer> buffer;
  {
    const MemoryLimit limit;
    buffer.emplace(0x40000000);
  }
  EXPECT_EQ(0u, buffer->GetCapacity());
  EXPECT_EQ(nullptr, buffer->GetBlock());
  EXPECT_OK(Push(*buffer, Hex("01")));
  EXPECT_EQ(Hex("01"), Contents(*buffer));
}

TEST(CustomBuffer, WithoutMemoryThrowsAndKeepsItsData) {
  CustomBuffer buffer;
  ASSERT_OK(Add(buffer, Hex("0102")));
  bool thrown = false;
  {
    const MemoryLimit limit;
    try {
      static_cast<void>(buffer.Allocate(0x40000000));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }
  EXPECT_TRUE(thrown);
  EXPECT_EQ(2u, buffer.GetCapacity());
  EXPECT_EQ(Hex("0102"), Contents(buffer));
}

TEST(SimpleBuffer, WithoutMemoryThrowsAndIsEmpty) {
  CSimpleBuffer buffer;
  ASSERT_OK(SetData(buffer, Hex("0102")));
  bool thrown = false;
  {
    const MemoryLimit limit;
    try {
      static_cast<void>(buffer.SetSize(0x40000000));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }
  EXPECT_TRUE(thrown);
  EXPECT_EQ(0u, buffer.GetSize());
  EXPECT_EQ(nullptr, buffer.GetData());
}

TEST(MemBuffer, RefusesSizesThatLeave32Bits) {
  // The largest size whose eighth still fits, and one more.
  constexpr unsigned int kJustTooLarge = 0xE38E38E4;
  static_assert(static_cast<std::uint64_t>(kJustTooLarge) + kJustTooLarge / 8 > kLargest);
  static_assert(static_cast<std::uint64_t>(kJustTooLarge) - 1 + (kJustTooLarge - 1) / 8 <=
                kLargest);
  QvMemBuffer buffer(4);
  ASSERT_OK(Push(buffer, Hex("0102")));
  EXPECT_RESULT(E_OUTOFMEMORY, buffer.MemReAlloc(kJustTooLarge));
  EXPECT_RESULT(E_OUTOFMEMORY, buffer.MemReAlloc(kLargest));
  EXPECT_RESULT(E_OUTOFMEMORY, buffer.BuffAlloc(kLargest - 2));
  EXPECT_RESULT(E_OUTOFMEMORY, buffer.BuffAlloc(kLargest - 1));
  EXPECT_RESULT(E_OUTOFMEMORY, buffer.Push(buffer.GetBlock(), kLargest - 1));
  EXPECT_EQ(4u, buffer.GetCapacity());
  EXPECT_EQ(Hex("0102"), Contents(buffer));
  EXPECT_OK(Push(buffer, Hex("03")));
  EXPECT_EQ(Hex("010203"), Contents(buffer));
}
