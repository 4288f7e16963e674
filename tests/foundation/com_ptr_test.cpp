#include "foundation/com_ptr.h"

#include <gtest/gtest.h>

#include <utility>

using namespace QUIRVA;

namespace {

class Counted {
 public:
  unsigned int AddRef() { return ++count; }
  unsigned int Release() { return --count; }

  unsigned int count = 0;
};

void HandOut(Counted& object, Counted** out) {
  object.AddRef();
  *out = &object;
}

void HandOutUntyped(Counted& object, void** out) {
  object.AddRef();
  *out = &object;
}

}  // namespace

TEST(ComPtr, StartsWithNothing) {
  const ComPtr<Counted> pointer;
  EXPECT_FALSE(pointer);
  EXPECT_EQ(nullptr, pointer.get());
}

TEST(ComPtr, OwnsTheReferenceOfATypedOutArgument) {
  Counted object;
  {
    ComPtr<Counted> pointer;
    HandOut(object, pointer.Receive());
    EXPECT_TRUE(pointer);
    EXPECT_EQ(&object, pointer.get());
    EXPECT_EQ(&object, &*pointer);
    EXPECT_EQ(1u, pointer->count);
  }
  EXPECT_EQ(0u, object.count);
}

TEST(ComPtr, OwnsTheReferenceOfAnUntypedOutArgument) {
  Counted object;
  {
    ComPtr<Counted> pointer;
    HandOutUntyped(object, pointer.Receive());
    EXPECT_EQ(&object, pointer.get());
    EXPECT_EQ(1u, object.count);
  }
  EXPECT_EQ(0u, object.count);
}

TEST(ComPtr, GivesBackWhatItHeldBeforeItReceives) {
  Counted first;
  Counted second;
  ComPtr<Counted> pointer;
  HandOut(first, pointer.Receive());
  HandOut(second, pointer.Receive());
  EXPECT_EQ(0u, first.count);
  EXPECT_EQ(1u, second.count);
}

TEST(ComPtr, CopiesTakeAReferenceAndMovesDoNot) {
  Counted object;
  {
    ComPtr<Counted> first;
    HandOut(object, first.Receive());
    const ComPtr<Counted> copy = first;
    EXPECT_EQ(2u, object.count);
    const ComPtr<Counted> moved = std::move(first);
    EXPECT_EQ(2u, object.count);
    ComPtr<Counted> assigned;
    assigned = copy;
    EXPECT_EQ(3u, object.count);
    assigned.Reset();
    EXPECT_FALSE(assigned);
    EXPECT_EQ(2u, object.count);
  }
  EXPECT_EQ(0u, object.count);
}

TEST(ComPtr, HandsItsReferenceOverWhenDetached) {
  Counted object;
  ComPtr<Counted> pointer;
  HandOut(object, pointer.Receive());
  EXPECT_EQ(&object, pointer.Detach());
  EXPECT_FALSE(pointer);
  EXPECT_EQ(1u, object.count);
  EXPECT_EQ(nullptr, pointer.Detach());
}
