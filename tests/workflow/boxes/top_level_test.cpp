#include "workflow/boxes/top_level.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/temp_dir.h"

using namespace support;
using clipchain::FileBytes;
using clipchain::TopLevel;

namespace {

class TopLevelTest : public testing::Test {
 protected:
  // What is wrong.
  clipchain::Reason Read(std::initializer_list<Bytes> boxes) {
    WriteFile(folder / "file", Join(boxes));
    FileBytes file(folder / "file");
    found = TopLevel();
    return found.Read(file);
  }

  const Bytes type = Box("ftyp", {Text("mp42"), U32(0)});
  const Bytes movie = Box("moov", {Zeros(20)});
  const Bytes media = Box("mdat", {Zeros(100)});
  TempDir folder;
  TopLevel found;
};

}  // namespace

TEST_F(TopLevelTest, TellsWhereTheMovieStands) {
  EXPECT_EQ(std::nullopt, Read({type, Box("free"), media, movie}));
  EXPECT_FALSE(found.layout.movieInFront);
  EXPECT_EQ(32u, found.media.position);
  EXPECT_EQ(132u, found.movie.position);
  EXPECT_EQ(std::nullopt, Read({type, movie, Box("free"), media}));
  EXPECT_TRUE(found.layout.movieInFront);
  EXPECT_EQ(16u, found.movie.position);
  EXPECT_EQ(60u, found.media.position);
  EXPECT_EQ(100u, found.media.size);
}

TEST_F(TopLevelTest, TellsTheBlockThatAFreeBoxAheadOfTheMediaNotes) {
  EXPECT_EQ(std::nullopt, Read({type, Box("free", {U32(4096)}), media, movie}));
  EXPECT_EQ(4096u, found.layout.block);
  for (const std::uint32_t odd : {0u, 1u, 256u, 4095u, 1u << 17, 0x80000000u}) {
    EXPECT_EQ(std::nullopt, Read({type, Box("free", {U32(odd)}), media, movie}));
    EXPECT_EQ(0u, found.layout.block) << odd;
  }
  EXPECT_EQ(std::nullopt, Read({type, Box("free", {U32(4096)}), Box("free"), media, movie}));
  EXPECT_EQ(0u, found.layout.block);
  EXPECT_EQ(std::nullopt, Read({type, Box("free", {U64(4096)}), media, movie}));
  EXPECT_EQ(0u, found.layout.block);
}

TEST_F(TopLevelTest, SaysWhatIsNoMergedFile) {
  EXPECT_NE(std::nullopt, Read({type, media}));
  EXPECT_NE(std::nullopt, Read({type, movie}));
  EXPECT_NE(std::nullopt, Read({type, movie, media, movie}));
  EXPECT_NE(std::nullopt, Read({type, media, movie, media}));
  EXPECT_NE(std::nullopt, Read({type, movie, media, Box("free")}));
  EXPECT_NE(std::nullopt, Read({movie, type, media}));
  EXPECT_NE(std::nullopt, Read({type, Box("skip"), media, movie}));
  EXPECT_NE(std::nullopt, Read({type, media, Slice(movie, 0, 10)}));
}
