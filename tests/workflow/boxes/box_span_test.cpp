#include "workflow/boxes/box_span.h"

#include <gtest/gtest.h>

#include <vector>

#include "foundation/fourcc.h"
#include "support/bytes.h"

using clipchain::TakeBox;
using support::Bytes;

TEST(BoxSpan, TakesOneBoxBehindTheOther) {
  const Bytes bytes{0, 0, 0, 9, 'a', 'b', 'c', 'd', 7,                           //
                    0, 0, 0, 1, 'w', 'i', 'd', 'e', 0, 0, 0, 0, 0, 0, 0, 17, 8,  //
                    0, 0, 0, 8, 'l', 'a', 's', 't'};
  std::span rest(bytes);
  const auto first = TakeBox(rest);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->type, FourCc("abcd"));
  EXPECT_EQ(Bytes(first->body.begin(), first->body.end()), Bytes{7});
  const auto wide = TakeBox(rest);
  ASSERT_TRUE(wide);
  EXPECT_EQ(Bytes(wide->body.begin(), wide->body.end()), Bytes{8});
  const auto last = TakeBox(rest);
  ASSERT_TRUE(last);
  EXPECT_TRUE(last->body.empty());
  EXPECT_TRUE(rest.empty());
  EXPECT_FALSE(TakeBox(rest));
}

TEST(BoxSpan, TakesNothingThatIsNoBox) {
  for (const Bytes& bytes :
       {Bytes{0, 0, 0, 9, 'a', 'b', 'c', 'd'}, Bytes{0, 0, 0, 7, 'a', 'b', 'c', 'd'},
        Bytes{0, 0, 0, 0, 'a', 'b', 'c', 'd'}, Bytes{0, 0, 0, 8, 'a', 'b', 'c'},
        Bytes{0, 0, 0, 1, 'a', 'b', 'c', 'd', 0, 0, 0, 0, 0, 0, 0, 15}}) {
    std::span rest(bytes);
    EXPECT_FALSE(TakeBox(rest));
    EXPECT_EQ(rest.size(), bytes.size());
  }
}
