#include "workflow/merging/following_verification.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <utility>

#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/system/open_file.h"

using namespace clipchain;
using support::Bytes;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class FollowingVerificationTest : public testing::Test {
 protected:
  FollowingVerificationTest() {
    for (const unsigned char name : support::Text("ab")) {
      clips.push_back(folder / std::string(1, static_cast<char>(name)));
      support::WriteFile(clips.back(), support::Clip(name == 'a' ? 30 : 25, name).Build());
    }
    EXPECT_THAT(MakeMergeImage({clips}, image), IsEmpty());
    ImageBytes bytes(clips, image);
    whole.resize(image.size);
    EXPECT_TRUE(bytes.Read(0, whole.data(), whole.size()));
  }

  // Where the second clip's media begins.
  std::size_t Seam() const {
    for (const ImagePiece& piece : image.pieces) {
      if (piece.clip == 1) return piece.position;
    }
    return 0;
  }

  // Of a file that is written in two steps.
  Findings Follow(const Bytes& written, const Progress& progress = {}) {
    support::WriteFile(folder / "out", {});
    const Descriptor file = OpenToRead(folder / "out");
    FileBytes unread(file);
    const VerifyTask task{clips, image, "out", unread, false, progress};
    FollowingVerification following(task, file);
    std::ofstream out(folder / "out", std::ios::binary);
    for (const auto& [from, to] : {std::pair{std::size_t{0}, Seam()}, {Seam(), written.size()}}) {
      const Bytes part = support::Slice(written, from, to);
      out.write(reinterpret_cast<const char*>(part.data()), static_cast<long>(part.size()));
      out.flush();
      following.Mark().RaiseTo(to);
    }
    return following.Finish(task);
  }

  support::TempDir folder;
  std::vector<std::string> clips;
  MergeImage image;
  Bytes whole;
};

}  // namespace

TEST_F(FollowingVerificationTest, FindsNothingInWhatTheImageSays) {
  EXPECT_THAT(Follow(whole), IsEmpty());
}

TEST_F(FollowingVerificationTest, FindsWhatIsWrongAtASeamAndAroundTheMedia) {
  for (const std::size_t at : {std::size_t{5}, Seam(), whole.size() - 1}) {
    Bytes damaged = whole;
    damaged[at] ^= 0x10;
    const Findings found = Follow(damaged);
    ASSERT_EQ(1u, found.size()) << at;
    EXPECT_EQ(Message::kResultDamaged, found[0].message);
    EXPECT_EQ(static_cast<long long>(at), found[0].offset);
  }
}

TEST_F(FollowingVerificationTest, FindsAFileThatIsShorterOrLonger) {
  EXPECT_THAT(Follow(support::Slice(whole, 0, whole.size() - 1))[0].text,
              HasSubstr("bytes; its clips give"));
  EXPECT_THAT(Follow(support::Join({whole, Bytes{0}}))[0].text, HasSubstr("bytes; its clips give"));
  EXPECT_THAT(Follow(support::Slice(whole, 0, Seam() + 3)), testing::Not(IsEmpty()));
}

TEST_F(FollowingVerificationTest, EndsWhereNothingMoreIsWritten) {
  support::WriteFile(folder / "out", {});
  const Descriptor file = OpenToRead(folder / "out");
  FileBytes unread(file);
  const VerifyTask task{clips, image, "out", unread};
  auto following = std::make_unique<FollowingVerification>(task, file);
  following->Mark().RaiseTo(Seam());
  following.reset();
  EXPECT_EQ(nullptr, following) << "it waited for nothing more";
}

TEST(WatermarkTest, LetsNobodyPassWhoseBytesNeverCome) {
  Watermark mark;
  mark.RaiseTo(10);
  EXPECT_TRUE(mark.WaitFor(10));
  mark.GiveUp();
  EXPECT_TRUE(mark.WaitFor(10));
  EXPECT_FALSE(mark.WaitFor(11));
}
