#include "workflow/split.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "workflow/join.h"
#include "workflow/keeping/kept_card.h"

using namespace clipchain;
using support::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

class SplitTest : public support::KeptCard {
 protected:
  SplitReport SplitIt(const std::string& merged) const {
    SplitOptions split;
    split.folder = folder / "again";
    return Split(merged, split);
  }
  std::vector<std::string> Made() const {
    std::vector<std::string> names;
    if (!fs::exists(folder / "again")) return names;
    for (const auto& entry : fs::directory_iterator(folder / "again"))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(SplitTest, MakesTheClipsAgainWithTheirTimes) {
  const timespec times[] = {{1, 0}, {1'700'000'000, 123'456'789}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, clips[1].c_str(), times, 0));
  const std::string merged = Merge(clips, "out.mp4", {true, true, false});
  SplitOptions beside;
  const SplitReport report = Split(merged, beside);
  EXPECT_TRUE(report.done);
  EXPECT_THAT(report.findings, IsEmpty());
  ASSERT_THAT(report.clips, SizeIs(3));
  for (unsigned int i = 0; i < 3; ++i) {
    const std::string path = folder.path() / "kept" / "out" / fs::path(clips[i]).filename();
    EXPECT_EQ(path, report.clips[i].path);
    EXPECT_EQ(ClipBytes(i), support::ReadFile(path));
  }
  struct stat status;
  ASSERT_EQ(0, ::stat(report.clips[1].path.c_str(), &status));
  EXPECT_EQ(1'700'000'000, status.st_mtim.tv_sec);
  EXPECT_EQ(123'456'789, status.st_mtim.tv_nsec);
}

TEST_F(SplitTest, GivesTheSecondOfTwoEqualNamesANumber) {
  const std::string second = PutOnCard("b/clip1.mp4", ClipBytes(7));
  EXPECT_TRUE(SplitIt(Merge({clips[0], second}, "out.mp4", Originals())).done);
  EXPECT_THAT(Made(), ElementsAre("clip1-2.mp4", "clip1.mp4"));
  EXPECT_EQ(ClipBytes(7), support::ReadFile(folder / "again" / "clip1-2.mp4"));
}

TEST_F(SplitTest, MakesNothingWhereANameIsTaken) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  fs::create_directory(folder / "again");
  support::WriteFile(folder / "again" / "clip2.mp4", {1});
  const SplitReport report = SplitIt(merged);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(Message::kOutputExists, report.findings.back().message);
  EXPECT_THAT(Made(), ElementsAre("clip2.mp4"));
}

TEST_F(SplitTest, MakesOfADamagedResultTheClipsThatAreWhole) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  ChangeByte(merged, 100);
  const SplitReport report = SplitIt(merged);
  EXPECT_FALSE(report.done);
  ASSERT_THAT(report.findings, SizeIs(1));
  EXPECT_EQ(Message::kResultDamaged, report.findings[0].message);
  EXPECT_THAT(Made(), ElementsAre("clip2.mp4", "clip3.mp4"));
}

TEST_F(SplitTest, MakesOfAResultThatWasCutWhatItStillHolds) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  Bytes bytes = support::ReadFile(merged);
  bytes.resize(60);
  support::WriteFile(merged, bytes);
  const SplitReport report = SplitIt(merged);
  EXPECT_THAT(report.findings, SizeIs(3));
  EXPECT_EQ(Message::kResultDamaged, report.findings.back().message);
  EXPECT_FALSE(fs::exists(folder / "again"));
}

TEST_F(SplitTest, TakesNoArchiveOfAnotherFile) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  const std::string other = PutOnCard("x.mp4", support::Clip(40, 77).Build());
  const std::string second = Merge({other}, "second.mp4");
  fs::copy_file(merged + ".originals", second + ".originals");
  const SplitReport report = SplitIt(second);
  ASSERT_THAT(report.findings, SizeIs(1));
  EXPECT_EQ(Message::kInputRefused, report.findings[0].message);
  EXPECT_FALSE(fs::exists(folder / "again"));
}

TEST_F(SplitTest, MakesNothingOfABrokenArchive) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  const std::string archive = merged + ".originals";
  const std::size_t size = support::ReadFile(archive).size();
  for (std::size_t at = 0; at < size; at += 1 + size / 40) {
    ChangeByte(archive, at);
    const SplitReport report = SplitIt(merged);
    ASSERT_THAT(report.findings, SizeIs(1));
    EXPECT_EQ(Message::kInputRefused, report.findings[0].message) << at;
    ChangeByte(archive, at);
  }
  Bytes bytes = support::ReadFile(archive);
  for (const std::size_t length : {std::size_t{0}, std::size_t{10}, size / 2, size - 1}) {
    support::WriteFile(archive, Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length)));
    EXPECT_FALSE(SplitIt(merged).done) << length;
  }
  EXPECT_FALSE(fs::exists(folder / "again"));
  fs::remove(archive);
  EXPECT_EQ(Message::kInputUnreadable, SplitIt(merged).findings.back().message);
}

TEST_F(SplitTest, LeavesNothingBehindWhenItIsStopped) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  SplitOptions split;
  split.folder = folder / "again";
  split.progress = [](const Step& step) { return step.clip < 2; };
  const SplitReport report = Split(merged, split);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(Message::kMergeStopped, report.findings.back().message);
  EXPECT_FALSE(fs::exists(folder / "again"));
}

TEST_F(SplitTest, KeepsNoClipOfADevicesName) {
  const std::string clip = PutOnCard("con.mp4", ClipBytes(5));
  SafeMergeOptions merge;
  merge.check.output = folder / "kept" / "out.mp4";
  const auto companion = MakeCompanion(Originals());
  merge.companion = companion.get();
  const SafeMergeReport report = SafeMerge({clip}, merge);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(Message::kInputRefused, report.findings.back().message);
  EXPECT_TRUE(fs::is_empty(folder / "kept"));
}

TEST_F(SplitTest, ReplacesAnOldArchiveWithItsResultAlone) {
  const std::string merged = Merge(clips, "out.mp4", Originals());
  const Bytes before = support::ReadFile(merged + ".originals");
  SafeMergeOptions merge;
  merge.check.output = merged;
  const auto refused = MakeCompanion(Originals());
  merge.companion = refused.get();
  EXPECT_FALSE(SafeMerge({clips[0]}, merge).done);
  EXPECT_EQ(before, support::ReadFile(merged + ".originals"));
  const auto companion = MakeCompanion(Originals());
  merge.companion = companion.get();
  merge.check.overwrite = true;
  EXPECT_TRUE(SafeMerge({clips[0]}, merge).done);
  EXPECT_TRUE(SplitIt(merged).done);
  EXPECT_THAT(Made(), ElementsAre("clip1.mp4"));
}

TEST_F(SplitTest, LetsNoMergeTakeTheResultFromAnArchive) {
  const std::string merged = Merge(clips, "out.mp4", {true, false, true});
  const Bytes before = support::ReadFile(merged);
  SafeMergeOptions merge;
  merge.check.output = merged;
  merge.check.overwrite = true;
  for (const char* suffix : {".originals", ".xxh"}) {
    const SafeMergeReport report = SafeMerge({clips[0], clips[1]}, merge);
    EXPECT_FALSE(report.done);
    EXPECT_EQ(Message::kOutputExists, report.findings.back().message);
    EXPECT_EQ(merged + suffix, report.findings.back().path);
    EXPECT_EQ(before, support::ReadFile(merged));
    fs::remove(merged + suffix);
  }
  EXPECT_TRUE(SafeMerge({clips[0], clips[1]}, merge).done);
  // One that is written anew, too, may go.
  Merge(clips, "other.mp4", Originals());
  merge.check.output = folder / "kept" / "other.mp4";
  const auto companion = MakeCompanion(Originals());
  merge.companion = companion.get();
  EXPECT_TRUE(SafeMerge({clips[0], clips[1]}, merge).done);
}

TEST_F(SplitTest, KeepsOriginalsBesideAResultThatIsThereAlready) {
  const std::string merged = Merge(clips, "out.mp4");
  const FitOptions fitting;
  const KeepOptions keep{true, false, true};
  EXPECT_THAT(KeepBeside(clips, fitting, merged, keep, nullptr), IsEmpty());
  EXPECT_TRUE(SplitIt(merged).done);
  // What is there stays, and must be right.
  EXPECT_THAT(KeepBeside(clips, fitting, merged, keep, nullptr), IsEmpty());
  ChangeByte(merged + ".originals", 50);
  EXPECT_EQ(Message::kOutputDiffers,
            KeepBeside(clips, fitting, merged, keep, nullptr).back().message);
}

}  // namespace
