// What is expected of a file is what the engine writes, whatever the clips are like.
#include "workflow/merging/expected_file.h"

#include <gtest/gtest.h>

#include "foundation/com_ptr.h"
#include "merge/live_merge.h"
#include "support/clip_shapes.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"
#include "workflow/system/files.h"

using clipchain::ExpectedFile;
using support::Bytes;
using support::FindBox;

namespace {

class ExpectedFileTest : public testing::Test {
 protected:
  std::unique_ptr<MP4G::CMp4File> Open(const std::string& path) {
    auto file = std::make_unique<MP4G::CMp4File>();
    EXPECT_OK(file->SetFile(clipchain::Wide(path).c_str()));
    return file;
  }
  Bytes Merge(const std::vector<std::string>& inputs) {
    QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
    EXPECT_OK(
        MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
    const std::string output = folder / "merged";
    EXPECT_OK(merge->SetOutputPath(clipchain::Wide(output).c_str()));
    for (const std::string& input : inputs)
      EXPECT_OK(merge->InputMp4File(clipchain::Wide(input).c_str()));
    EXPECT_OK(merge->Finalize());
    return support::ReadFile(output);
  }
  void ExpectWhatTheEngineWrites(const std::vector<std::string>& inputs) {
    ExpectedFile expected;
    for (const std::string& input : inputs) ASSERT_OK(expected.Take(Open(input)));
    ASSERT_OK(expected.Finish());
    const Bytes merged = Merge(inputs);
    const std::size_t media = FindBox(merged, "mdat") + 8;
    const std::size_t movie = merged.size() - expected.Movie().size();
    EXPECT_EQ(support::Slice(merged, 0, media), expected.Head());
    EXPECT_EQ(support::Slice(merged, movie, merged.size()), expected.Movie());
    EXPECT_EQ("moov", std::string(merged.begin() + static_cast<std::ptrdiff_t>(movie) + 4,
                                  merged.begin() + static_cast<std::ptrdiff_t>(movie) + 8));
  }
  std::string Put(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return folder / name;
  }

  support::TempDir folder;
};

}  // namespace

TEST_F(ExpectedFileTest, IsWhatTheEngineWritesOfClipsOfAllShapes) {
  for (const support::ClipShape& shape : support::ClipShapes()) {
    SCOPED_TRACE(shape.name);
    const std::string clip = Put(shape.name, shape.bytes);
    for (const std::size_t count : {1u, 2u, 5u})
      ExpectWhatTheEngineWrites(std::vector<std::string>(count, clip));
  }
}

TEST_F(ExpectedFileTest, IsWhatTheEngineWritesOfACamerasClips) {
  std::vector<std::string> inputs;
  for (const char* name : {"clip1", "clip2", "clip3"}) {
    inputs.push_back(support::SourcePath("examples/clips") / (std::string(name) + ".mp4"));
    ExpectWhatTheEngineWrites(inputs);
  }
}

// The engine's own end of a merge, with media that is not there.
TEST_F(ExpectedFileTest, HoldsTheLongFormOfTheMediaHeaderWhereItIsNeeded) {
  const std::string clip = Put("clip", support::Clip(6).Build());
  const auto head = [&](long long mediaSize) {
    auto file = Open(clip);
    file->mdatSize = mediaSize;
    ExpectedFile expected;
    EXPECT_OK(expected.Take(std::move(file)));
    EXPECT_OK(expected.Finish());
    return support::Slice(expected.Head(), expected.Head().size() - 16, expected.Head().size());
  };
  EXPECT_EQ(support::Join({support::U32(8), support::Text("free"), support::U32(0xFFFFFFFE),
                           support::Text("mdat")}),
            head(0xFFFFFFF6));
  EXPECT_EQ(
      support::Join({support::U32(1), support::Text("mdat"), support::U32(1), support::U32(16)}),
      head(0x100000000));
}

TEST_F(ExpectedFileTest, AnswersAsTheEngineDoes) {
  ExpectedFile none;
  EXPECT_RESULT(E_POINTER, none.Finish());
  support::MovieBuilder other = support::Clip(6);
  other.timeScale = 601;
  ExpectedFile two;
  ASSERT_OK(two.Take(Open(Put("a", support::Clip(6).Build()))));
  EXPECT_RESULT(MP4G_E_TIME_SCALE, two.Take(Open(Put("b", other.Build()))));
}
