#include "workflow/clip_search.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_dir.h"

using clipchain::FindClips;
using clipchain::FoundClips;

namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

class ClipSearch : public testing::Test {
 protected:
  std::string Put(const std::string& name) {
    fs::create_directories((folder / name).parent_path());
    support::WriteFile(folder / name, {});
    return At(name);
  }
  std::string At(const std::string& name) const { return (folder / name).string(); }
  std::string Root() const { return folder.path().string(); }

  support::TempDir folder;
};

}  // namespace

TEST_F(ClipSearch, FindsNothingWithoutOperands) {
  const FoundClips found = FindClips({});
  EXPECT_TRUE(found.volumes.empty());
  EXPECT_TRUE(found.unreadable.empty());
}

TEST_F(ClipSearch, TakesClipsOfAFolderInAnyCaseSortedByName) {
  for (const char* name : {"b.mp4", "c.M4V", "a.MoV", "d.mp4.txt", "e.txt", "mp4", "f.mp"})
    Put(name);
  const FoundClips found = FindClips({Root()});
  ASSERT_EQ(1u, found.volumes.size());
  EXPECT_EQ(Root(), found.volumes[0].folder);
  EXPECT_EQ((Paths{At("a.MoV"), At("b.mp4"), At("c.M4V")}), found.volumes[0].clips);
  EXPECT_TRUE(found.unreadable.empty());
}

// On a slow share a search may take long.
TEST_F(ClipSearch, EndsWhenItIsTold) {
  for (const char* name : {"a/1.mp4", "a/2.mp4", "b/3.mp4", "b/c/4.mp4"}) Put(name);
  const std::vector<std::string> folders = {folder / "a", folder / "b", folder / "b"};
  std::vector<std::size_t> counts;
  const auto search = [&](std::size_t most) {
    counts.clear();
    return FindClips(folders, "", [&](const clipchain::Step& step) {
      EXPECT_EQ(clipchain::Step::Phase::kSearching, step.phase);
      counts.push_back(step.clip);
      return counts.size() <= most;
    });
  };
  EXPECT_FALSE(search(1000).stopped);
  EXPECT_EQ(0u, counts.front());
  EXPECT_EQ(5u, counts.back());
  const std::size_t all = counts.size();
  for (std::size_t most = 0; most < all; ++most) {
    EXPECT_TRUE(search(most).stopped) << most;
    EXPECT_EQ(most + 1, counts.size());
  }
}

TEST_F(ClipSearch, LooksBelowAFolderToo) {
  for (const char* name : {"DCIM/101/b.mp4", "DCIM/100/c.mp4", "a.mp4", "z.mp4"}) Put(name);
  const FoundClips found = FindClips({Root()});
  ASSERT_EQ(1u, found.volumes.size());
  EXPECT_EQ((Paths{At("DCIM/100/c.mp4"), At("DCIM/101/b.mp4"), At("a.mp4"), At("z.mp4")}),
            found.volumes[0].clips);
}

TEST_F(ClipSearch, PassesOverNamesThatBeginWithADot) {
  for (const char* name : {"._a.mp4", ".mp4", ".Trashes/501/b.mp4", "c.mp4"}) Put(name);
  const FoundClips found = FindClips({Root()});
  EXPECT_EQ((Paths{At("c.mp4")}), found.volumes.at(0).clips);
}

TEST_F(ClipSearch, EachFolderIsAVolumeAndFilesInARowAreOne) {
  Put("x/1.mp4");
  Put("y/2.mp4");
  fs::create_directory(folder / "empty");
  const FoundClips found =
      FindClips({"first", "second.txt", At("x"), "third", At("empty"), At("y"), At("x")});
  ASSERT_EQ(6u, found.volumes.size());
  EXPECT_EQ("", found.volumes[0].folder);
  EXPECT_EQ((Paths{"first", "second.txt"}), found.volumes[0].clips);
  EXPECT_EQ(At("x"), found.volumes[1].folder);
  EXPECT_EQ((Paths{At("x/1.mp4")}), found.volumes[1].clips);
  EXPECT_EQ("", found.volumes[2].folder);
  EXPECT_EQ((Paths{"third"}), found.volumes[2].clips);
  EXPECT_EQ(At("empty"), found.volumes[3].folder);
  EXPECT_TRUE(found.volumes[3].clips.empty());
  EXPECT_EQ((Paths{At("y/2.mp4")}), found.volumes[4].clips);
  EXPECT_EQ((Paths{At("x/1.mp4")}), found.volumes[5].clips);
}

TEST_F(ClipSearch, FollowsLinksToFilesAndNamesThoseThatLeadNowhere) {
  Put("aside/clip");
  Put("aside/inner/other.mp4");
  fs::create_directory(folder / "card");
  fs::create_symlink(folder / "aside/clip", folder / "card/a.mp4");
  fs::create_symlink(folder / "absent", folder / "card/b.mp4");
  fs::create_directory_symlink(folder / "aside/inner", folder / "card/c");
  fs::create_directory_symlink(folder / "card", folder / "card/loop");
  const FoundClips found = FindClips({At("card")});
  EXPECT_EQ((Paths{At("card/a.mp4"), At("card/b.mp4")}), found.volumes.at(0).clips);
}

TEST_F(ClipSearch, AFolderNamedByALinkIsSearched) {
  Put("card/a.mp4");
  fs::create_directory_symlink(folder / "card", folder / "link");
  const FoundClips found = FindClips({At("link")});
  EXPECT_EQ((Paths{At("link/a.mp4")}), found.volumes.at(0).clips);
}

TEST_F(ClipSearch, NeverOpensPipes) {
  ASSERT_EQ(0, ::mkfifo(At("pipe.mp4").c_str(), 0600));
  EXPECT_TRUE(FindClips({Root()}).volumes.at(0).clips.empty());
  const FoundClips found = FindClips({At("pipe.mp4")});
  EXPECT_TRUE(found.volumes.empty());
  ASSERT_EQ(1u, found.unreadable.size());
  EXPECT_EQ(At("pipe.mp4"), found.unreadable[0].path);
  EXPECT_EQ("is no regular file", found.unreadable[0].reason);
}

TEST_F(ClipSearch, TellsOfFoldersThatCannotBeSearched) {
  // One that lies too deep for a path: it is made step by step from the folder above.
  const std::string name(200, 'd');
  int above = ::open(Root().c_str(), O_RDONLY | O_DIRECTORY);
  for (std::size_t length = 0; length < PATH_MAX; length += name.size()) {
    ASSERT_EQ(0, ::mkdirat(above, name.c_str(), 0700));
    const int below = ::openat(above, name.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_LE(0, below);
    ::close(above);
    above = below;
  }
  ::close(above);
  Put("z.mp4");
  const FoundClips found = FindClips({Root()});
  EXPECT_EQ((Paths{At("z.mp4")}), found.volumes.at(0).clips);
  ASSERT_EQ(1u, found.unreadable.size());
  EXPECT_EQ(0u, found.unreadable[0].path.find(At(name)));
  EXPECT_EQ(0u, found.unreadable[0].reason.find("can't be searched: "));
}

// As a card does that is pulled out: the system then says that there are no more names.
TEST_F(ClipSearch, TellsOfAFolderThatGoesAwayWhileItIsListed) {
  Put("a/b/1.mp4");
  // One step for each name that is listed or looked at: of "a", of "b", and then of the clip.
  int steps = 0;
  const FoundClips found = FindClips({Root()}, "", [&](const clipchain::Step&) {
    if (++steps == 5) fs::remove_all(folder / "a/b");
    return true;
  });
  ASSERT_EQ(1u, found.unreadable.size());
  EXPECT_EQ(At("a/b"), found.unreadable[0].path);
  EXPECT_EQ("can't be searched: No such file or directory", found.unreadable[0].reason);
}

TEST_F(ClipSearch, KeepsNamesThatAreNoText) {
  Put("\xFF\xFE.mp4");
  EXPECT_EQ((Paths{At("\xFF\xFE.mp4")}), FindClips({Root()}).volumes.at(0).clips);
}

TEST_F(ClipSearch, PassesOverAFolderInsideThatIsExcepted) {
  const std::string clip = Put("a/1.mp4");
  const std::string other = Put("a/c/2.mp4");
  Put("a/b/3.mp4");
  fs::create_directory_symlink(At("a/b"), At("link"));
  for (const std::string& except : {At("a/b"), At("a/./b/"), At("link")})
    EXPECT_EQ((Paths{clip, other}), FindClips({At("a")}, except).volumes[0].clips);
  EXPECT_EQ(3u, FindClips({At("a")}, At("absent")).volumes[0].clips.size());
  EXPECT_EQ(1u, FindClips({At("a/b")}, At("a/b")).volumes[0].clips.size());
}

TEST(ClipName, EndsInAnExtensionOfAClip) {
  for (const char* name : {"a.mp4", "a/b.M4V", "a.b.Mov"})
    EXPECT_TRUE(clipchain::HasClipName(name));
  for (const char* name : {"a", "mp4", "a.mp3", "a.mp4/b", ".mp4", ""})
    EXPECT_FALSE(clipchain::HasClipName(name));
}
