// Merging as an application does it: through the front object, on files, with progress.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "front/merger.h"
#include "merge/merge_fixture.h"
#include "support/bytes.h"
#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

namespace {

using support::Bytes;
using support::Clip;
using support::ExpectSamplesInOrder;
using support::ReadFile;
using support::WriteFile;

// The first two boxes are tried both, and their codes come combined.
constexpr HRESULT kNoOutput = MP4G_E_OUTPUT_OPEN | MP4G_E_OUTPUT_WRITE;

// Notes every report and answers `answer` from the call number `from` on, counted from 1.
class Progress final : public QVMp4MergerDelegate {
 public:
  HRESULT notifyMergeProgress(long long current, long long total) override {
    reports.emplace_back(current, total);
    if (seen) seen();
    return from > 0 && static_cast<int>(reports.size()) >= from ? answer : S_OK;
  }

  std::vector<std::pair<long long, long long>> reports;
  int from = 0;
  HRESULT answer = 77;
  std::function<void()> seen;
};

class MergingApplication : public testing::Test {
 protected:
  MergingApplication() {
    EXPECT_EQ(&merger, merger.init());
    EXPECT_OK(merger.setOutputPath(output.c_str()));
  }

  std::string Write(const std::string& name, const Bytes& bytes) {
    WriteFile(folder / name, bytes);
    return (folder / name).string();
  }

  support::TempDir folder;
  const Bytes first = Clip(30, 1).Build();
  const Bytes second = Clip(20, 2).Build();
  const std::filesystem::path output = folder / "merged.mp4";
  QVMp4Merger merger;
};

TEST_F(MergingApplication, WithoutADelegateAMergeCompletes) {
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_OK(merger.inputMp4File(Write("two.mp4", second).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  ExpectSamplesInOrder(ReadFile(output), {first, second});
}

TEST_F(MergingApplication, ADelegateThatIsTakenBackIsNotCalled) {
  Progress progress;
  EXPECT_OK(merger.setDelegate(&progress));
  EXPECT_OK(merger.setDelegate(nullptr));
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  EXPECT_TRUE(progress.reports.empty());
}

TEST_F(MergingApplication, ProgressIsCountedPerInputFromZero) {
  Progress progress;
  EXPECT_OK(merger.setDelegate(&progress));
  const auto firstMedia = static_cast<long long>(Clip(30, 1).Media().size());
  const auto secondMedia = static_cast<long long>(Clip(20, 2).Media().size());
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  ASSERT_EQ(2u, progress.reports.size());
  EXPECT_EQ(std::make_pair(0LL, firstMedia), progress.reports[0]);
  EXPECT_LE(firstMedia, progress.reports[1].first);
  EXPECT_EQ(firstMedia, progress.reports[1].second);
  EXPECT_OK(merger.inputMp4File(Write("two.mp4", second).c_str()));
  ASSERT_EQ(4u, progress.reports.size());
  EXPECT_EQ(std::make_pair(0LL, secondMedia), progress.reports[2]);
  EXPECT_EQ(secondMedia, progress.reports[3].second);
  EXPECT_OK(merger.finalizeMerger());
  EXPECT_EQ(4u, progress.reports.size());
}

TEST_F(MergingApplication, ADelegatesAnswerAtTheFirstReportIsTheResultAndTheOutputIsGone) {
  Progress progress;
  progress.from = 1;
  bool existed = false;
  progress.seen = [&] { existed = std::filesystem::exists(output); };
  EXPECT_OK(merger.setDelegate(&progress));
  for (const HRESULT answer : {77, 1, -1, -77}) {
    progress.answer = answer;
    progress.reports.clear();
    QVMp4Merger fresh;
    ASSERT_NE(nullptr, fresh.init());
    EXPECT_OK(fresh.setDelegate(&progress));
    EXPECT_OK(fresh.setOutputPath(output.c_str()));
    EXPECT_EQ(answer, fresh.inputMp4File(Write("one.mp4", first).c_str()));
    EXPECT_EQ(1u, progress.reports.size());
    EXPECT_TRUE(existed);
    EXPECT_FALSE(std::filesystem::exists(output));
  }
}

TEST_F(MergingApplication, ADelegatesAnswerEndsALaterInputToo) {
  Progress progress;
  progress.from = 4;
  EXPECT_OK(merger.setDelegate(&progress));
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_EQ(77, merger.inputMp4File(Write("two.mp4", second).c_str()));
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(MergingApplication, AFileThatCannotBeOpenedLeavesTheMergeIntact) {
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, merger.inputMp4File((folder / "none.mp4").c_str()));
  EXPECT_OK(merger.inputMp4File(Write("two.mp4", second).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  ExpectSamplesInOrder(ReadFile(output), {first, second});
}

TEST_F(MergingApplication, AnInputThatDoesNotFitIsRefusedWithTheEnginesCode) {
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  support::MovieBuilder silent;
  silent.Add(support::VideoTrack(10));
  EXPECT_RESULT(MP4G_E_TRACK_COUNT, merger.inputMp4File(Write("two.mp4", silent.Build()).c_str()));
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(MergingApplication, APathThatIsNoTextLeavesTheOldOneInForce) {
  EXPECT_RESULT(E_FAIL, merger.setOutputPath("\xFF.mp4"));
  EXPECT_RESULT(E_FAIL, merger.setOutputPath(nullptr));
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  ExpectSamplesInOrder(ReadFile(output), {first});
}

TEST_F(MergingApplication, PathsMayHoldAnyText) {
  const std::string name = "\xC3\xA9t\xC3\xA9 \xE6\x98\xA0\xE7\x94\xBB \xF0\x9F\x8E\xAC";
  EXPECT_OK(merger.setOutputPath((folder / (name + " merged.mp4")).c_str()));
  EXPECT_OK(merger.inputMp4File(Write(name + ".mp4", first).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  ExpectSamplesInOrder(ReadFile(folder / (name + " merged.mp4")), {first});
}

TEST_F(MergingApplication, WithoutAnOutputPathNothingCanBeWritten) {
  QVMp4Merger fresh;
  ASSERT_NE(nullptr, fresh.init());
  EXPECT_RESULT(kNoOutput, fresh.inputMp4File(Write("one.mp4", first).c_str()));
}

TEST_F(MergingApplication, AfterTheEndTheNextMergeMayBegin) {
  EXPECT_OK(merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  EXPECT_RESULT(E_POINTER, merger.finalizeMerger());
  const std::filesystem::path other = folder / "other.mp4";
  EXPECT_OK(merger.setOutputPath(other.c_str()));
  EXPECT_OK(merger.inputMp4File(Write("two.mp4", second).c_str()));
  EXPECT_OK(merger.finalizeMerger());
  ExpectSamplesInOrder(ReadFile(output), {first});
  ExpectSamplesInOrder(ReadFile(other), {second});
}

TEST_F(MergingApplication, AnUnfinishedOutputStaysAsItStands) {
  std::optional<QVMp4Merger> abandoned;
  abandoned.emplace();
  ASSERT_NE(nullptr, abandoned->init());
  EXPECT_OK(abandoned->setOutputPath(output.c_str()));
  EXPECT_OK(abandoned->inputMp4File(Write("one.mp4", first).c_str()));
  abandoned.reset();
  EXPECT_EQ(support::MovieBuilder{}.fileType.size() + 16 + Clip(30, 1).Media().size(),
            std::filesystem::file_size(output));
}

TEST_F(MergingApplication, ANewEngineKnowsNothingOfTheOldPath) {
  EXPECT_EQ(0, merger.prepareEngine());
  EXPECT_RESULT(kNoOutput, merger.inputMp4File(Write("one.mp4", first).c_str()));
  EXPECT_FALSE(std::filesystem::exists(output));
}

// A file whose media data were promised and never came.
Bytes CutShort(std::size_t missing) {
  support::MovieBuilder clip = Clip(30, 1);
  clip.movieFirst = true;
  Bytes bytes = clip.Build();
  bytes.resize(bytes.size() - missing);
  return bytes;
}

TEST_F(MergingApplication, WithoutADelegateACopyThatStandsStillEndsTheInput) {
  const std::size_t all = Clip(30, 1).Media().size();
  for (const std::size_t missing : {std::size_t{1}, all / 2, all}) {
    QVMp4Merger fresh;
    ASSERT_NE(nullptr, fresh.init());
    EXPECT_OK(fresh.setOutputPath(output.c_str()));
    EXPECT_RESULT(MP4G_E_INPUT_READ,
                  fresh.inputMp4File(Write("cut.mp4", CutShort(missing)).c_str()))
        << missing;
    EXPECT_FALSE(std::filesystem::exists(output));
  }
  EXPECT_OK(merger.inputMp4File(Write("whole.mp4", CutShort(0)).c_str()));
}

TEST_F(MergingApplication, ADelegateDecidesAboutACopyThatStandsStill) {
  Progress progress;
  progress.from = 9;
  EXPECT_OK(merger.setDelegate(&progress));
  EXPECT_EQ(77, merger.inputMp4File(Write("cut.mp4", CutShort(10)).c_str()));
  ASSERT_EQ(9u, progress.reports.size());
  const auto all = static_cast<long long>(Clip(30, 1).Media().size());
  EXPECT_EQ(std::make_pair(0LL, all), progress.reports[0]);
  for (std::size_t i = 1; i < progress.reports.size(); ++i)
    EXPECT_EQ(std::make_pair(all - 10, all), progress.reports[i]);
}

}  // namespace
