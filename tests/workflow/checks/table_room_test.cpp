#include "workflow/checks/table_room.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "box/sample_table_boxes.h"
#include "reader/typed_views.h"
#include "support/bytes.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/clips/clip_file.h"

namespace clipchain {
namespace {

class TableRoomTest : public testing::Test {
 protected:
  static constexpr std::size_t kSamples = 1000;

  void SetUp() override {
    support::MovieBuilder movie;
    movie.tracks = {support::VideoTrack(kSamples)};
    for (std::size_t i = 0; i < kSamples; ++i)
      movie.tracks[0].sampleSizes[i] = static_cast<std::uint32_t>(1 + i % 7);
    support::WriteFile(folder_ / "clip.mp4", movie.Build());
    clip_.emplace(folder_ / "clip.mp4");
    ASSERT_EQ(S_OK, clip_->Parse());
    track_ = MP4G::CMovieBox_wr(clip_->Movie()).Tracks().front();
  }

  QUIRVA::Table<unsigned int>& Sizes() {
    return MP4G::CSampleTableBox_wr(MP4G::CTrackBox_wr(track_).SampleTableBox())
        .SampleSizeBox()
        ->entries;
  }

  support::TempDir folder_;
  std::optional<ClipFile> clip_;
  MP4G::CTrackBox* track_ = nullptr;
};

TEST_F(TableRoomTest, KeepsTablesWhereTheyAreAsTheyGrow) {
  // Once in memory of the heap, and once in pages that another thread prepares.
  for (const double growth : {3.0, 2000.0}) {
    SetUp();
    const TableRoom room(clip_->Movie(), growth);
    auto& sizes = Sizes();
    ASSERT_EQ(kSamples, sizes.size());
    const QUIRVA::Table<unsigned int> added = std::as_const(sizes);
    const unsigned int* const place = sizes.data();
    while (sizes.size() < static_cast<std::size_t>(growth) * kSamples)
      sizes.insert(sizes.end(), added.begin(), added.end());
    EXPECT_EQ(place, sizes.data()) << growth;
    for (std::size_t i = 0; i < sizes.size(); ++i) ASSERT_EQ(1 + i % kSamples % 7, sizes[i]);
  }
}

TEST_F(TableRoomTest, LeavesTablesAloneThatDoNotGrow) {
  const std::size_t before = Sizes().capacity();
  const TableRoom room(clip_->Movie(), 1);
  EXPECT_EQ(before, Sizes().capacity());
}

TEST_F(TableRoomTest, DoesWithoutWhatTheSystemDoesNotGrant) {
  const TableRoom room(clip_->Movie(), 1e15);
  EXPECT_EQ(kSamples, Sizes().size());
}

}  // namespace
}  // namespace clipchain
