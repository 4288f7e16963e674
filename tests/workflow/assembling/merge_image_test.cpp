#include "workflow/assembling/merge_image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "adapt/fit.h"
#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/temp_dir.h"
#include "workflow/assembling/image_bytes.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/verify.h"
#include "workflow/safe_merge.h"

using namespace clipchain;
using support::Bytes;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class MergeImageTest : public testing::Test {
 protected:
  std::string Put(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return folder / name;
  }

  // The file that the image stands for.
  static Bytes Made(const std::vector<std::string>& clips, const MergeImage& image) {
    Bytes made;
    for (const ImagePiece& piece : image.pieces) {
      EXPECT_EQ(made.size(), piece.position);
      EXPECT_NE(0u, piece.size);
      const bool isOwn = piece.clip == ImagePiece::kNoClip;
      const Bytes source = isOwn ? image.own[piece.source] : support::ReadFile(clips[piece.clip]);
      const std::size_t begin = isOwn ? 0 : piece.source;
      made = support::Join({made, support::Slice(source, begin, begin + piece.size)});
    }
    EXPECT_EQ(image.size, made.size());
    return made;
  }

  void ExpectMerged(const std::vector<std::string>& clips, const FitOptions& fitting) {
    SafeMergeOptions options;
    options.check.output = folder / "out.mp4";
    options.check.overwrite = true;
    SetFitting(options.check, fitting);
    ASSERT_TRUE(SafeMerge(clips, options).done);
    MergeImage image;
    ASSERT_THAT(MakeMergeImage(clips, fitting, {}, image), IsEmpty());
    EXPECT_EQ(support::ReadFile(options.check.output), Made(clips, image));
  }

  // Merges that way, and looks whether the result is what it is to be: by the image, by the
  // verification, and by a reader that shares nothing with either.
  Bytes ExpectLayout(const std::vector<std::string>& clips, const Layout& layout) {
    MergeImage image;
    EXPECT_THAT(MakeMergeImage(clips, {}, layout, image), IsEmpty());
    const Bytes made = Made(clips, image);
    support::WriteFile(folder / "made", made);
    FileBytes file(folder / "made");
    TopLevel boxes;
    EXPECT_EQ(std::nullopt, boxes.Read(file));
    EXPECT_EQ(layout, boxes.layout);
    ImageBytes unwritten(clips, image);
    const Fit fit(clips, {});
    const Fit* const needed = fit.IsNeeded() ? &fit : nullptr;
    for (FileBytes* bytes : {&file, static_cast<FileBytes*>(&unwritten)}) {
      for (const bool everyByte : {false, true}) {
        EXPECT_THAT(Verify({clips, image, "out", *bytes, everyByte, {}, needed}), IsEmpty());
      }
    }
    Layout other = layout;
    other.movieInFront = !other.movieInFront;
    MergeImage otherwise;
    EXPECT_THAT(MakeMergeImage(clips, {}, other, otherwise), IsEmpty());
    EXPECT_THAT(Verify({clips, otherwise, "out", file, false, {}, needed}), SizeIs(1));
    MergeImage plain;
    EXPECT_THAT(MakeMergeImage(clips, {}, {}, plain), IsEmpty());
    const support::OracleMovie expected = support::ReadMovie(Made(clips, plain));
    const support::OracleMovie found = support::ReadMovie(made);
    EXPECT_EQ(expected.duration, found.duration);
    EXPECT_EQ(expected.tracks.size(), found.tracks.size());
    for (std::size_t i = 0; i < found.tracks.size(); ++i)
      EXPECT_TRUE(expected.tracks[i].samples == found.tracks[i].samples) << i;
    // Media that is long enough lies as it does in its clip.
    for (const ImagePiece& piece : image.pieces) {
      if (piece.clip != ImagePiece::kNoClip && layout.block != 0 &&
          piece.size / 4 >= layout.block) {
        EXPECT_EQ(0u, (piece.position - piece.source) % layout.block);
      }
    }
    return made;
  }

  support::TempDir folder;
};

TEST_F(MergeImageTest, IsTheFileThatAMergeGives) {
  const std::string a = Put("a", support::Clip(30, 1).Build());
  const std::string b = Put("b", support::Clip(25, 7).Build());
  FitOptions exact;
  exact.exact = true;
  ExpectMerged({a, b}, exact);
  ExpectMerged({b}, exact);
}

TEST_F(MergeImageTest, MayHaveTheMovieInFrontAndMediaOnBlocks) {
  const std::string a = Put("a", support::Clip(300, 1).Build());
  const std::string b = Put("b", support::Clip(250, 7).Build());
  support::MovieBuilder front = support::Clip(40, 3);
  front.movieFirst = true;
  const std::string c = Put("c", front.Build());
  for (const bool movieInFront : {false, true}) {
    for (const unsigned int block : {0u, 512u, 4096u}) {
      ExpectLayout({a, b, c}, {movieInFront, block});
      ExpectLayout({c}, {movieInFront, block});
    }
  }
}

// Clips whose media stands in several boxes are shown to the engine as others.
TEST_F(MergeImageTest, HasTheSameLayoutsOfClipsThatAreAdapted) {
  support::MovieBuilder split = support::Clip(300, 5);
  split.between = support::Box("mdat", {support::Fill(5001, 7)});
  const std::string a = Put("a", support::Clip(300, 1).Build());
  const std::string b = Put("b", split.Build());
  ASSERT_TRUE(Fit({a, b}, {}).IsNeeded());
  for (const bool movieInFront : {false, true}) {
    for (const unsigned int block : {0u, 512u, 4096u}) {
      ExpectLayout({a, b}, {movieInFront, block});
      ExpectLayout({b, a, b}, {movieInFront, block});
    }
  }
}

TEST_F(MergeImageTest, ShowsDamageInAnyLayout) {
  const std::vector<std::string> clips = {Put("a", support::Clip(300, 1).Build()),
                                          Put("b", support::Clip(250, 7).Build())};
  for (const Layout layout : {Layout{true, 0}, Layout{false, 512}, Layout{true, 512}}) {
    MergeImage image;
    ASSERT_THAT(MakeMergeImage(clips, {}, layout, image), IsEmpty());
    const Bytes made = Made(clips, image);
    for (const ImagePiece& piece : image.pieces) {
      if (piece.clip != ImagePiece::kNoClip) continue;
      for (const unsigned long long at : {piece.position, piece.position + piece.size - 1}) {
        Bytes damaged = made;
        damaged[at] ^= 0x10;
        support::WriteFile(folder / "made", damaged);
        FileBytes file(folder / "made");
        EXPECT_FALSE(Verify({clips, image, "out", file}).empty()) << at;
      }
    }
  }
}

TEST_F(MergeImageTest, SaysWhyThereIsNone) {
  MergeImage image;
  const std::string a = Put("a", support::Clip(30, 1).Build());
  EXPECT_THAT(MakeMergeImage({}, {}, {}, image), SizeIs(1));
  EXPECT_THAT(MakeMergeImage({a, folder / "none"}, {}, {}, image), SizeIs(1));
  support::MovieBuilder other = support::Clip(25, 7);
  other.tracks.pop_back();
  FitOptions exact;
  exact.exact = true;
  const Findings faults = MakeMergeImage({a, Put("b", other.Build())}, exact, {}, image);
  ASSERT_THAT(faults, SizeIs(1));
  EXPECT_EQ(Message::kInputRefused, faults[0].message);
}

}  // namespace
