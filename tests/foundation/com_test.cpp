#include "foundation/com.h"

#include <gtest/gtest.h>

#include "foundation/guid.h"
#include "support/bytes.h"
#include "support/result_matchers.h"

using namespace QUIRVA;

namespace {

class CountingLock : public QvBaseLock {
 public:
  signed char Lock(unsigned int timeout) override {
    lastTimeout = timeout;
    ++locks;
    return 1;
  }
  void Unlock() override { ++unlocks; }

  unsigned int lastTimeout = 0;
  int locks = 0;
  int unlocks = 0;
};

constexpr _GUID kGuid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

}  // namespace

TEST(Guid, ComparesEveryGroup) {
  EXPECT_TRUE(kGuid == kGuid);
  _GUID other = kGuid;
  other.Data1 = 0;
  EXPECT_FALSE(kGuid == other);
  other = kGuid;
  other.Data2 = 0;
  EXPECT_FALSE(kGuid == other);
  other = kGuid;
  other.Data3 = 0;
  EXPECT_FALSE(kGuid == other);
  for (int i = 0; i < 8; ++i) {
    other = kGuid;
    other.Data4[i] = 0;
    EXPECT_FALSE(kGuid == other) << "byte " << i;
  }
}

TEST(Guid, ReadsItsBytesBigEndianWhateverSizeIsGiven) {
  const support::Bytes bytes = support::Hex("01020304 0506 0708 090A0B0C0D0E0F10");
  EXPECT_TRUE(BigEndianToGuid(bytes.data(), 16) == kGuid);
  EXPECT_TRUE(BigEndianToGuid(bytes.data(), 0) == kGuid);
  const support::Bytes zeros = support::Zeros(16);
  EXPECT_TRUE(BigEndianToGuid(zeros.data(), 16) == _GUID{});
}

TEST(CritSec, IsAlwaysFree) {
  QvCritSec lock;
  EXPECT_EQ(1, lock.Lock(kWaitForever));
  EXPECT_EQ(1, lock.Lock(0));
  lock.Unlock();
}

TEST(AutoLock, LocksForItsLifeAndReportsTheResult) {
  CountingLock lock;
  signed char locked = 0;
  {
    const QvAutoLock guard(&lock, 5, &locked);
    EXPECT_EQ(5u, lock.lastTimeout);
    EXPECT_EQ(1, locked);
    EXPECT_EQ(0, lock.unlocks);
  }
  EXPECT_EQ(1, lock.unlocks);
}

TEST(AutoLock, UnlocksTwiceAfterAnExplicitUnlock) {
  CountingLock lock;
  {
    QvAutoLock guard(&lock, kWaitForever, nullptr);
    EXPECT_EQ(1, guard.Lock(kWaitForever));
    guard.Unlock();
  }
  EXPECT_EQ(2, lock.locks);
  EXPECT_EQ(2, lock.unlocks);
}

TEST(AutoLock, TakesANullLock) {
  signed char locked = 1;
  QvAutoLock guard(nullptr, kWaitForever, &locked);
  EXPECT_EQ(0, locked);
  EXPECT_EQ(0, guard.Lock(kWaitForever));
  guard.Unlock();
}

TEST(ComBase, CountsUpAndDownAndStopsAtZero) {
  CComBase object;
  EXPECT_EQ(1u, object.IncreaseRefCount());
  EXPECT_EQ(2u, object.IncreaseRefCount());
  EXPECT_EQ(1u, object.DecreaseRefCount());
  EXPECT_EQ(0u, object.DecreaseRefCount());
  EXPECT_EQ(0u, object.DecreaseRefCount());
}

TEST(ComBase, CopyInfoZeroesTheTargetAndCopiesTheSmallerSize) {
  const unsigned char source[4] = {1, 2, 3, 4};
  unsigned char target[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_OK(CComBase::CopyInfo(source, 4, target, 6));
  EXPECT_EQ(support::Hex("010203040000"), support::Bytes(target, target + 6));
  EXPECT_OK(CComBase::CopyInfo(source, 4, target, 2));
  EXPECT_EQ(support::Hex("0102"), support::Bytes(target, target + 2));
}

TEST(ComBase, CopyInfoRefusesNullAndEmpty) {
  unsigned char bytes[4] = {};
  EXPECT_RESULT(E_INVALIDARG, CComBase::CopyInfo(nullptr, 4, bytes, 4));
  EXPECT_RESULT(E_INVALIDARG, CComBase::CopyInfo(bytes, 0, bytes, 4));
  EXPECT_RESULT(E_INVALIDARG, CComBase::CopyInfo(bytes, 4, nullptr, 4));
  EXPECT_RESULT(E_INVALIDARG, CComBase::CopyInfo(bytes, 4, bytes, 0));
}
