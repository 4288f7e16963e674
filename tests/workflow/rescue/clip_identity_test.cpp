#include "workflow/rescue/clip_identity.h"

#include <gtest/gtest.h>

namespace clipchain::rescue {

namespace {

Bytes Name(unsigned char number) { return Bytes(16, number); }

// The second clip of recordings that go on: "own" behind the clip of the number in front of it.
NamedClip Open(const std::string& path, unsigned char own) {
  return {path, {Name(own), Name(static_cast<unsigned char>(own + 1)), {Bytes(16)}}};
}

}  // namespace

TEST(NamesOfMissing, AreThoseThatTheClipInFrontNames) {
  const ClipNames names =
      NamesOfMissing("a/C0003.MP4", {Open("a/C0001.MP4", 1), Open("a/C0002.MP4", 2)});
  EXPECT_EQ(Name(3), names.own);
  EXPECT_EQ(Name(2), names.previous);
  EXPECT_FALSE(IsName(names.next));
}

TEST(NamesOfMissing, AreToldByFileNamesWhereSeveralAreMissing) {
  const std::vector<NamedClip> clips = {Open("a/C0002.MP4", 2), Open("a/C0005.MP4", 12)};
  EXPECT_EQ(Name(3), NamesOfMissing("a/C0003.MP4", clips).own);
  EXPECT_EQ(Name(13), NamesOfMissing("a/C0006.MP4", clips).own);
  EXPECT_FALSE(IsName(NamesOfMissing("a/C0008.MP4", clips).own));
  EXPECT_FALSE(IsName(NamesOfMissing("a/broken.mp4", clips).own));
}

TEST(NamesOfMissing, AreNoneWhereTheFileIsOfAnotherPlace) {
  const std::vector<NamedClip> clips = {Open("a/C0002.MP4", 2)};
  EXPECT_FALSE(IsName(NamesOfMissing("a/C0004.MP4", clips).own)) << "a clip between was taken off";
  EXPECT_FALSE(IsName(NamesOfMissing("a/C0001.MP4", clips).own));
  EXPECT_EQ(Name(3), NamesOfMissing("a/broken.mp4", clips).own) << "there is no other";
}

}  // namespace clipchain::rescue
