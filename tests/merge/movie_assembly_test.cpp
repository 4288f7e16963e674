// What is put together in memory is what a merge writes into a file, whatever the clips are like.
#include "merge/movie_assembly.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "merge/merge_fixture.h"
#include "support/clip_shapes.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using support::Bytes;
using support::FindBox;

namespace {

class MovieAssembly : public support::LiveMerge {
 protected:
  static std::unique_ptr<MP4G::CMp4File> Open(const std::filesystem::path& path) {
    auto file = std::make_unique<MP4G::CMp4File>();
    EXPECT_OK(file->SetFile(path.wstring().c_str()));
    return file;
  }
  std::filesystem::path Put(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return folder / name;
  }
  // Of a merge in memory: what stands ahead of the media, and the movie.
  struct Assembled {
    Bytes head;
    Bytes movie;
  };
  static Assembled Assemble(const std::vector<std::filesystem::path>& clips) {
    Assembled made;
    MP4G::CMovieAssembly assembly;
    std::vector<std::unique_ptr<MP4G::CMp4File>> files;
    long long position = 0;
    unsigned long long media = 0;
    for (const auto& input : clips) {
      files.push_back(Open(input));
      if (files.size() == 1) position = MP4G::CMovieAssembly::HeadSize(*files.front());
      EXPECT_OK(assembly.Take(files.back().get(), position));
      position += files.back()->mdatSize;
      media += static_cast<unsigned long long>(files.back()->mdatSize);
    }
    EXPECT_OK(assembly.Finish(made.head, made.movie));
    unsigned char room[MP4G::kMediaHeaderRoom];
    unsigned int header = 0;
    EXPECT_OK(MP4G::FillMediaRoom(media, room, &header));
    made.head.insert(made.head.end(), std::begin(room), std::end(room));
    EXPECT_EQ(made.head.size(), MP4G::CMovieAssembly::HeadSize(*files.front()));
    return made;
  }
  void ExpectWhatAMergeWrites(const std::vector<std::filesystem::path>& clips) {
    for (const auto& input : clips) EXPECT_OK(merge->InputMp4File(input.wstring().c_str()));
    EXPECT_OK(merge->Finalize());
    const Bytes merged = support::ReadFile(output);
    const Assembled expected = Assemble(clips);
    const std::size_t movie = merged.size() - expected.movie.size();
    EXPECT_EQ(support::Slice(merged, 0, FindBox(merged, "mdat") + 8), expected.head);
    EXPECT_EQ(support::Slice(merged, movie, merged.size()), expected.movie);
    EXPECT_EQ(movie, FindBox(merged, "moov"));
  }
};

}  // namespace

TEST_F(MovieAssembly, IsWhatAMergeWritesOfClipsOfAllShapes) {
  for (const support::ClipShape& shape : support::ClipShapes()) {
    SCOPED_TRACE(shape.name);
    const auto clip = Put(shape.name, shape.bytes);
    for (const std::size_t count : {1u, 2u, 5u})
      ExpectWhatAMergeWrites(std::vector<std::filesystem::path>(count, clip));
  }
}

TEST_F(MovieAssembly, IsWhatAMergeWritesOfACamerasClips) {
  std::vector<std::filesystem::path> clips;
  for (const char* name : {"clip1", "clip2", "clip3"}) {
    clips.push_back(support::SourcePath("examples/clips") / (std::string(name) + ".mp4"));
    ExpectWhatAMergeWrites(clips);
  }
}

TEST(MediaRoom, HoldsTheLongFormOfTheMediaHeaderWhereItIsNeeded) {
  const auto room = [](unsigned long long mediaSize) {
    unsigned char bytes[MP4G::kMediaHeaderRoom];
    unsigned int header = 0;
    EXPECT_OK(MP4G::FillMediaRoom(mediaSize, bytes, &header));
    EXPECT_EQ(mediaSize > 0xFFFFFFF6 ? 16u : 8u, header);
    return Bytes(std::begin(bytes), std::end(bytes));
  };
  EXPECT_EQ(support::Join({support::U32(8), support::Text("free"), support::U32(0xFFFFFFFE),
                           support::Text("mdat")}),
            room(0xFFFFFFF6));
  EXPECT_EQ(
      support::Join({support::U32(1), support::Text("mdat"), support::U32(1), support::U32(16)}),
      room(0x100000000));
}

TEST_F(MovieAssembly, AnswersAsAMergeDoes) {
  Bytes head;
  Bytes movie;
  MP4G::CMovieAssembly none;
  EXPECT_RESULT(E_POINTER, none.Take(nullptr, 0));
  EXPECT_RESULT(E_POINTER, none.Finish(head, movie));
  support::MovieBuilder other = support::Clip(6);
  other.timeScale = 601;
  MP4G::CMovieAssembly two;
  const auto first = Open(Put("a", support::Clip(6).Build()));
  const auto second = Open(Put("b", other.Build()));
  ASSERT_OK(two.Take(first.get(), 0));
  EXPECT_RESULT(MP4G_E_TIME_SCALE, two.Take(second.get(), 0));
}
