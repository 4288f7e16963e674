#include "workflow/keeping/card_files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <utility>

#include "workflow/keeping/kept_card.h"
#include "workflow/system/open_file.h"

using namespace clipchain;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

using Phase = clipchain::Step::Phase;

namespace {

using CardFilesTest = support::KeptCard;

TEST_F(CardFilesTest, DoesNotCountWhatIsChangedWhileItRuns) {
  const std::string result = Merge(clips, "out.mp4");
  for (const std::string& path : {result, clips[0]}) {
    options.progress = [&, once = true](const Step& step) mutable {
      if (step.phase == Phase::kVerifying && std::exchange(once, false)) ChangeByte(path, 40);
      return true;
    };
    EXPECT_FALSE(Prove().kept) << path;
    ChangeByte(path, 40);
  }
  options.progress = [&, once = true](const Step& step) mutable {
    if (step.phase == Phase::kVerifying && std::exchange(once, false)) PutOnCard("new", {1});
    return true;
  };
  EXPECT_THAT(NotKept(), ElementsAre("new"));
  options.progress = [&, once = true](const Step& step) mutable {
    if (step.phase == Phase::kVerifying && std::exchange(once, false))
      fs::create_symlink("clip1.mp4", folder.path() / "card" / "late link");
    return true;
  };
  EXPECT_THAT(NotKept(), Contains("late link"));
}

TEST_F(CardFilesTest, TellsOnceOfAFolderThatCannotBeSearched) {
  Merge(clips, "out.mp4");
  // Behind it paths are longer than a system takes.
  const std::string name(255, 'x');
  Descriptor at = OpenToRead(folder / "card", O_DIRECTORY);
  for (int depth = 0; depth < PATH_MAX / 256 + 1; ++depth) {
    ASSERT_EQ(0, ::mkdirat(at, name.c_str(), 0700));
    at = Descriptor(::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  const CardProof proof = Prove();
  ASSERT_THAT(proof.notKept, SizeIs(1));
  EXPECT_THAT(proof.notKept[0].reason, HasSubstr("can't be searched"));
}

TEST_F(CardFilesTest, NoticesFoldersThatAreRenamedWhileItRuns) {
  fs::create_directory(folder.path() / "kept/x");
  Merge(clips, "x/out.mp4");
  PutOnCard("100/note.txt", {1});
  PutBeside("note.txt", {1});
  ASSERT_THAT(NotKept(), IsEmpty());
  for (const char* name : {"card/100", "kept/x"}) {
    const fs::path path = folder.path() / name;
    options.progress = [&, once = true](const Step& step) mutable {
      if (step.phase == Phase::kVerifying && std::exchange(once, false))
        fs::rename(path, path.string() + "b");
      return true;
    };
    EXPECT_THAT(Prove().notKept, Contains(Field(&PathAndReason::reason,
                                                HasSubstr("is now " + path.string() + "b/"))));
  }
}

}  // namespace
