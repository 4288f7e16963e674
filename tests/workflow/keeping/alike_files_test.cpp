#include "workflow/keeping/alike_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/temp_dir.h"
#include "workflow/keeping/listed_bytes.h"

using clipchain::AlikeFiles;
using clipchain::Likeness;
using clipchain::ListedFile;

namespace {

// Files that begin and end alike; a letter makes their middle.
class AlikeFilesTest : public testing::Test {
 protected:
  ListedFile Put(const std::string& name, char middle, std::size_t size = 90'000) {
    support::Bytes bytes(size, 'x');
    bytes[size / 2] = static_cast<unsigned char>(middle);
    support::WriteFile(folder_ / name, bytes);
    return clipchain::ListFiles(folder_ / "").files.at(Place(name));
  }
  // Of a name among all that there are.
  std::size_t Place(const std::string& name) {
    const auto files = clipchain::ListFiles(folder_ / "").files;
    std::size_t place = 0;
    while (!files.at(place).path.ends_with('/' + name)) ++place;
    return place;
  }
  void PutAndAdd(const std::string& name, char middle) {
    files_.push_back(Put(name, middle));
    alike_.Add(files_.size() - 1);
  }
  // The middle is what decides.
  std::string Find(const ListedFile& wanted, char middle) {
    clipchain::ListedBytes bytes(wanted);
    const auto found = alike_.Find(wanted, bytes.Bytes(), [&](std::size_t index) {
      compared_.push_back(files_[index].path.substr(files_[index].path.rfind('/') + 1));
      if (useless_.contains(index)) return Likeness::kUseless;
      return support::ReadFile(files_[index].path)[45'000] == static_cast<unsigned char>(middle)
                 ? Likeness::kSame
                 : Likeness::kOther;
    });
    return found ? files_[*found].path.substr(files_[*found].path.rfind('/') + 1) : "none";
  }

  support::TempDir folder_;
  std::vector<ListedFile> files_;
  std::set<std::size_t> useless_;
  std::vector<std::string> compared_;
  AlikeFiles alike_{[this](std::size_t i) -> const ListedFile& { return files_[i]; },
                    [this](std::size_t i) { return useless_.contains(i); }};
};

}  // namespace

TEST_F(AlikeFilesTest, ComparesTheOneOfTheSameNameFirst) {
  for (const char* name : {"a", "b", "c"}) PutAndAdd(name, '1');
  std::filesystem::create_directory(folder_ / "card");
  EXPECT_EQ(Find(Put("card/b", '1'), '1'), "b");
  EXPECT_EQ(compared_, (std::vector<std::string>{"b"}));
  // Of another name: any one.
  EXPECT_EQ(Find(Put("card/z", '1'), '1'), "a");
}

TEST_F(AlikeFilesTest, ComparesWhatHasTheSameHashAfterOneDifference) {
  for (const char* name : {"1", "2", "3", "4"}) PutAndAdd(name, *name);
  EXPECT_EQ(Find(Put("wanted", '4'), '4'), "4");
  EXPECT_EQ(compared_, (std::vector<std::string>{"1", "4"}));
  // Nothing has it: one was compared all the same, so that there is something to be said.
  compared_.clear();
  EXPECT_EQ(Find(Put("wanted", '5'), '5'), "none");
  EXPECT_EQ(compared_, (std::vector<std::string>{"1"}));
}

TEST_F(AlikeFilesTest, ComparesNothingOfAnotherSizeOrOtherEnds) {
  PutAndAdd("a", '1');
  EXPECT_EQ(Find(Put("longer", '1', 90'001), '1'), "none");
  support::WriteFile(folder_ / "other", support::Bytes(90'000, 'y'));
  EXPECT_EQ(Find(clipchain::ListFiles(folder_ / "").files.at(Place("other")), 'y'), "none");
  EXPECT_TRUE(compared_.empty());
}

TEST_F(AlikeFilesTest, AsksOnceWhatIsOfNoUse) {
  for (const char* name : {"a", "b", "c"}) PutAndAdd(name, '1');
  useless_ = {0, 1};
  const ListedFile wanted = Put("wanted", '1');
  EXPECT_EQ(Find(wanted, '1'), "c");
  EXPECT_EQ(Find(wanted, '1'), "c");
  EXPECT_EQ(compared_, (std::vector<std::string>{"a", "b", "c", "c"}));
  // Of what is of no use altogether the last one says why.
  useless_ = {0, 1, 2};
  compared_.clear();
  EXPECT_EQ(Find(wanted, '1'), "none");
  EXPECT_EQ(compared_, (std::vector<std::string>{"c"}));
}

TEST_F(AlikeFilesTest, GoesOnWhereTheFirstOfAHashIsOfNoUse) {
  PutAndAdd("other", '2');
  for (const char* name : {"a", "b"}) PutAndAdd(name, '1');
  const ListedFile wanted = Put("wanted", '1');
  EXPECT_EQ(Find(wanted, '1'), "a");
  useless_ = {1};
  EXPECT_EQ(Find(wanted, '1'), "b");
}

TEST_F(AlikeFilesTest, ComparesEachOfAThousandEqualFilesOnce) {
  constexpr int kFiles = 1000;
  for (int i = 0; i < kFiles; ++i) {
    support::WriteFile(folder_ / std::to_string(i), support::Bytes(90, 'x'));
  }
  files_ = clipchain::ListFiles(folder_ / "").files;
  for (std::size_t i = 0; i < files_.size(); ++i) alike_.Add(i);
  std::size_t compared = 0;
  for (const ListedFile& file : files_) {
    clipchain::ListedBytes bytes(file);
    EXPECT_TRUE(alike_.Find(file, bytes.Bytes(), [&](std::size_t) {
      ++compared;
      return Likeness::kSame;
    }));
  }
  EXPECT_EQ(compared, files_.size());
}
