#include "adapt/boxes/raw_boxes.h"

#include <gtest/gtest.h>

#include "foundation/fourcc.h"
#include "support/bytes.h"
#include "support/parent_boxes.h"

namespace clipchain {
namespace {

using support::Box;
using support::Hex;
using support::Join;
using support::U32;

RawBox Taken(const Bytes& bytes) {
  std::span<const unsigned char> in = bytes;
  RawBox box;
  EXPECT_TRUE(box.Take(in));
  EXPECT_TRUE(in.empty());
  return box;
}

Bytes Written(const RawBox& box) {
  Bytes out;
  box.Write(out);
  EXPECT_EQ(out.size(), box.Size());
  return out;
}

TEST(RawBox, WritesTheBytesItRead) {
  const Bytes bytes = Box("moov", {Box("mvhd", {U32(7)}), Box("trak", {Box("mdia")}),
                                   Box("udta", {Box("name", {U32(1)}), U32(0)})});
  const RawBox movie = Taken(bytes);
  ASSERT_EQ(movie.children.size(), 3u);
  EXPECT_EQ(movie.children[2].data, U32(0));
  EXPECT_EQ(Written(movie), bytes);
}

TEST(RawBox, KeepsALargeSize) {
  const Bytes bytes = Hex("00000001 6D6F6F76 0000000000000018 00000008 66726565");
  const RawBox movie = Taken(bytes);
  ASSERT_EQ(movie.children.size(), 1u);
  EXPECT_EQ(Written(movie), bytes);
}

TEST(RawBox, KeepsAChildThatDoesNotFitAsBytes) {
  const Bytes bytes = Box("moov", {Box("mvhd"), Hex("00000100 7472616B 01")});
  const RawBox movie = Taken(bytes);
  EXPECT_EQ(movie.children.size(), 1u);
  EXPECT_EQ(Written(movie), bytes);
}

TEST(RawBox, TakesNothingFromABoxThatIsLargerThanItsBytes) {
  const Bytes bytes = Hex("00000010 6D6F6F76 00000000");
  std::span<const unsigned char> in = bytes;
  RawBox box;
  EXPECT_FALSE(box.Take(in));
  EXPECT_EQ(in.size(), bytes.size());
}

TEST(RawBox, StaysBytesBelowAnUnreasonableDepth) {
  Bytes bytes = Box("moov");
  for (int depth = 0; depth < 1000; ++depth) bytes = Box("moov", {bytes});
  EXPECT_EQ(Written(Taken(bytes)), bytes);
}

// What the engine reads into must be open here too.
TEST(RawBox, OpensEveryBoxThatHoldsBoxesAlone) {
  std::size_t parents = 0;
  for (const support::ParentBox& parent : support::AllParentBoxes(3)) {
    if (parent.fields != 0) continue;
    ++parents;
    EXPECT_EQ(3u, Taken(parent.bytes).children.size()) << parent.type;
  }
  EXPECT_GT(parents, 5u);
}

TEST(RawBox, FindsAndRemovesChildren) {
  RawBox movie = Taken(
      Box("moov", {Box("trak", {Box("mdia", {Box("mdhd", {U32(3)})})}), Box("free"), Box("free")}));
  ASSERT_NE(movie.At({FourCc("trak"), FourCc("mdia"), FourCc("mdhd")}), nullptr);
  EXPECT_EQ(movie.At({FourCc("trak"), FourCc("minf")}), nullptr);
  movie.Remove(FourCc("free"));
  EXPECT_EQ(movie.children.size(), 1u);
}

}  // namespace
}  // namespace clipchain
