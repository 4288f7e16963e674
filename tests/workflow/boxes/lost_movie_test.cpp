#include "workflow/boxes/lost_movie.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/temp_dir.h"

using namespace support;
using clipchain::FileBytes;

namespace {

class LostMovie : public testing::Test {
 protected:
  bool Lacks(std::initializer_list<Bytes> parts) {
    WriteFile(folder_ / "file", Join(parts));
    FileBytes file(folder_ / "file");
    return clipchain::LacksMovie(file);
  }

  const Bytes type_ = Box("ftyp", {Text("mp42"), U32(0)});
  const Bytes media_ = Box("mdat", {Bytes(100, 0x47)});
  TempDir folder_;
};

}  // namespace

TEST_F(LostMovie, IsMissedWhereMediaStandsAlone) {
  EXPECT_TRUE(Lacks({type_, media_}));
  EXPECT_TRUE(Lacks({type_, Box("wide"), media_}));
  EXPECT_FALSE(Lacks({type_, media_, Box("moov", {Box("mvhd", {Zeros(20)})})}));
  EXPECT_FALSE(Lacks({type_, media_, Box("moof", {Zeros(20)})}));
  EXPECT_FALSE(Lacks({type_})) << "there was never any media";
}

TEST_F(LostMovie, IsMissedWhereTheHeadOfTheMediaIsGone) {
  EXPECT_TRUE(Lacks({type_, Bytes(100, 0x91)}));
  EXPECT_TRUE(Lacks({type_, Zeros(8), Bytes(100, 0x47)}));
  EXPECT_FALSE(Lacks({Zeros(100'000)})) << "nothing was ever written";
  EXPECT_FALSE(Lacks({Text("some words that somebody named like a clip")}));
}

TEST_F(LostMovie, IsMissedWhereZerosStandInIt) {
  EXPECT_TRUE(Lacks({type_, media_, Box("moov", {Zeros(20)})}));
  const Bytes track = Box("trak", {Box("tkhd", {Zeros(84)}), Zeros(200)});
  EXPECT_TRUE(Lacks({type_, media_, Box("moov", {Box("mvhd", {Zeros(100)}), track})}));
  // Lists of tags end with four of them.
  const Bytes tags = Box("udta", {Zeros(4)});
  EXPECT_FALSE(Lacks({type_, media_, Box("moov", {Box("mvhd", {Zeros(100)}), tags})}));
}

TEST_F(LostMovie, IsNotMissedWhereZerosFillTheRestOfIt) {
  const Bytes tables = Box("stbl", {Box("stsz", {Zeros(12)}), Box("stco", {Zeros(8)})});
  const Bytes track = Box("trak", {Box("mdia", {Box("minf", {tables})})});
  const Bytes header = Box("mvhd", {Zeros(100)});
  EXPECT_FALSE(Lacks({type_, media_, Box("moov", {header, track, Zeros(64)})}));
  const Bytes blank = Box("trak", {Box("tkhd", {Zeros(84)}), Zeros(200)});
  EXPECT_TRUE(Lacks({type_, media_, Box("moov", {header, track, blank})}));
}
