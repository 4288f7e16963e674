#include "workflow/merging/merge_image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/merging/fitting_of.h"
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
      const Bytes source =
          piece.clip == ImagePiece::kNoClip ? image.bytes : support::ReadFile(clips[piece.clip]);
      made = support::Join({made, support::Slice(source, piece.source, piece.source + piece.size)});
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
    ASSERT_THAT(MakeMergeImage(clips, fitting, image), IsEmpty());
    EXPECT_EQ(support::ReadFile(options.check.output), Made(clips, image));
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

TEST_F(MergeImageTest, SaysWhyThereIsNone) {
  MergeImage image;
  const std::string a = Put("a", support::Clip(30, 1).Build());
  EXPECT_THAT(MakeMergeImage({}, {}, image), SizeIs(1));
  EXPECT_THAT(MakeMergeImage({a, folder / "none"}, {}, image), SizeIs(1));
  support::MovieBuilder other = support::Clip(25, 7);
  other.tracks.pop_back();
  FitOptions exact;
  exact.exact = true;
  const Findings faults = MakeMergeImage({a, Put("b", other.Build())}, exact, image);
  ASSERT_THAT(faults, SizeIs(1));
  EXPECT_EQ(Message::kInputRefused, faults[0].message);
}

}  // namespace
