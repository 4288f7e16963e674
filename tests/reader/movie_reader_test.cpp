#include "reader/movie_reader.h"

#include <gtest/gtest.h>

#include "box/data_boxes.h"
#include "box/header_boxes.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "support/movie_tree.h"
#include "support/processor_time.h"

namespace {

using MP4G::CMovieReader;
using MP4G::CTrackReader;
using support::AudioTrack;
using support::Edit;
using support::FixAndWrite;
using support::MovieBuilder;
using support::Track;
using support::VideoTrack;

class MovieReader : public testing::Test {
 protected:
  CMovieReader Read(const MovieBuilder& builder) {
    movie = support::MovieTree(builder);
    EXPECT_NE(nullptr, movie);
    return CMovieReader(movie.get());
  }
  MP4G::CTrackBox* TrackAt(unsigned int index) const {
    return MP4G::CMovieBox_wr(movie.get()).Tracks().at(index);
  }
  long long DurationAt(unsigned int index) const {
    return CTrackReader(TrackAt(index)).GetTrackDuration();
  }
  MP4G::CEditListBox* EditsAt(unsigned int index) const {
    return MP4G::CTrackBox_wr(TrackAt(index)).EditListBox();
  }
  MP4G::CSampleTableBox* TableAt(unsigned int index) const {
    return MP4G::CTrackBox_wr(TrackAt(index)).SampleTableBox();
  }
  bool IsWide(unsigned int index) const {
    const MP4G::CSampleTableBox_wr table(TableAt(index));
    EXPECT_NE(table.ChunkOffsetBox() == nullptr, table.ChunkLargeOffsetBox() == nullptr);
    return table.ChunkLargeOffsetBox() != nullptr;
  }
  static Track Lasting(Track track, std::uint32_t duration,
                       std::optional<std::vector<Edit>> edits = {}) {
    track.movieDuration = duration;
    track.edits = std::move(edits);
    return track;
  }

  std::unique_ptr<MP4G::CMovieBox> movie;
};

TEST_F(MovieReader, TellsTheValuesOfItsHeader) {
  MovieBuilder builder;
  builder.duration = 0x100000002;
  builder.wideMovieHeader = true;
  builder.timeScale = 700;
  const CMovieReader reader = Read(builder);
  EXPECT_EQ(0x100000002, reader.GetDuration());
  EXPECT_EQ(700u, reader.GetTimeScale());
  builder.withMovieHeader = false;
  EXPECT_EQ(0, Read(builder).GetDuration());
  EXPECT_EQ(0u, Read(builder).GetTimeScale());
}

TEST_F(MovieReader, FindsTracksByIndexAndIdentifier) {
  const CMovieReader reader = Read(MovieBuilder().Add(VideoTrack(1, 7)).Add(AudioTrack(1, 3)));
  EXPECT_EQ(2u, reader.GetTrackNum());
  EXPECT_EQ(7u, reader.TrackIndexToID(0));
  EXPECT_EQ(3u, reader.TrackIndexToID(1));
  EXPECT_EQ(0u, reader.TrackIndexToID(2));
  EXPECT_EQ(0u, reader.TrackIDtoIndex(7));
  EXPECT_EQ(1u, reader.TrackIDtoIndex(3));
  EXPECT_EQ(0xFFFFFFFFu, reader.TrackIDtoIndex(4));
}

TEST_F(MovieReader, CountsTracksOfAKindInTheOrderOfTheBoxes) {
  const CMovieReader reader = Read(MovieBuilder()
                                       .Add(AudioTrack(1, 9))
                                       .Add(VideoTrack(1, 7))
                                       .Add(AudioTrack(1, 3))
                                       .Add(VideoTrack(1, 2))
                                       .Add(VideoTrack(1, 5)));
  EXPECT_EQ(3u, reader.GetVideoTrackNum());
  EXPECT_EQ(7u, reader.VideoIndexToTrackID(0));
  EXPECT_EQ(2u, reader.VideoIndexToTrackID(1));
  EXPECT_EQ(5u, reader.VideoIndexToTrackID(2));
  EXPECT_EQ(0u, reader.VideoIndexToTrackID(3));
  EXPECT_EQ(2u, reader.GetAudioTrackNum());
  EXPECT_EQ(9u, reader.AudioIndexToTrackID(0));
  EXPECT_EQ(3u, reader.AudioIndexToTrackID(1));
  EXPECT_EQ(0u, reader.AudioIndexToTrackID(2));
}

void ExpectNothing(CMovieReader reader) {
  EXPECT_EQ(0u, reader.GetTrackNum());
  EXPECT_EQ(0u, reader.TrackIndexToID(0));
  EXPECT_EQ(0xFFFFFFFFu, reader.TrackIDtoIndex(1));
  EXPECT_EQ(0u, reader.GetVideoTrackNum());
  EXPECT_EQ(0u, reader.VideoIndexToTrackID(0));
  EXPECT_EQ(0u, reader.GetAudioTrackNum());
  EXPECT_EQ(0u, reader.AudioIndexToTrackID(0));
  EXPECT_RESULT(S_FALSE, reader.LimitTrackDurationUnderVideoDuration());
  EXPECT_OK(reader.ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_OK(reader.ConvertChunkLargeOffsetToChunkOffset());
}

TEST_F(MovieReader, HasNothingToDoWithoutTracks) {
  ExpectNothing(Read({}));
  ExpectNothing(CMovieReader(nullptr));
  EXPECT_EQ(0, CMovieReader(nullptr).GetDuration());
  EXPECT_EQ(0u, CMovieReader(nullptr).GetTimeScale());
  EXPECT_RESULT(E_BAD_DATA, CMovieReader(nullptr).ChangeScale(1));
}

TEST_F(MovieReader, WidensTheOffsetsOfAllTracksAndNarrowsThemAgain) {
  CMovieReader reader = Read(support::Clip(30));
  const support::Bytes before = FixAndWrite(*movie);
  ASSERT_OK(reader.ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_TRUE(IsWide(0));
  EXPECT_TRUE(IsWide(1));
  ASSERT_OK(reader.ConvertChunkOffsetToChunkLargeOffset());
  ASSERT_OK(reader.ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(IsWide(0));
  EXPECT_FALSE(IsWide(1));
  EXPECT_EQ(before, FixAndWrite(*movie));
}

TEST_F(MovieReader, EndsWideningAtTheFirstTrackThatFails) {
  CMovieReader reader =
      Read(MovieBuilder().Add(VideoTrack(1, 1)).Add(VideoTrack(1, 2)).Add(VideoTrack(1, 3)));
  MP4G::CBox* information = MP4G::CTrackBox_wr(TrackAt(1)).MediaInformationBox();
  information->DeleteChildBox(TableAt(1));
  EXPECT_RESULT(E_POINTER, reader.ConvertChunkOffsetToChunkLargeOffset());
  EXPECT_TRUE(IsWide(0));
  EXPECT_FALSE(IsWide(2));
}

TEST_F(MovieReader, NarrowsAllTracksOrNone) {
  Track wide = VideoTrack(1, 1);
  wide.co64 = true;
  CMovieReader mixed = Read(MovieBuilder().Add(wide).Add(VideoTrack(1, 2)));
  EXPECT_RESULT(S_FALSE, mixed.ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_TRUE(IsWide(0));
  EXPECT_FALSE(IsWide(1));

  Track empty = VideoTrack(0, 2);
  empty.co64 = true;
  EXPECT_RESULT(S_FALSE,
                Read(MovieBuilder().Add(wide).Add(empty)).ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_TRUE(IsWide(0));

  CMovieReader large = Read(MovieBuilder().Add(wide).Add(wide));
  MP4G::CSampleTableBox_wr(TableAt(1)).ChunkLargeOffsetBox()->entries.back() = 0x100000000;
  EXPECT_RESULT(S_FALSE, large.ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_TRUE(IsWide(0));
  MP4G::CSampleTableBox_wr(TableAt(1)).ChunkLargeOffsetBox()->entries.back() = 0xFFFFFFFF;
  EXPECT_OK(large.ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(IsWide(0));
  EXPECT_FALSE(IsWide(1));
}

TEST_F(MovieReader, EndsNarrowingAtTheFirstTrackThatFails) {
  Track wide = VideoTrack(12);
  wide.co64 = true;
  CMovieReader reader = Read(MovieBuilder().Add(wide).Add(wide).Add(wide));
  MP4G::CSampleTableBox_wr(TableAt(1)).ChunkLargeOffsetBox()->entries.front() = 0x100000000;
  EXPECT_RESULT(E_UNEXPECTED, reader.ConvertChunkLargeOffsetToChunkOffset());
  EXPECT_FALSE(IsWide(0));
  EXPECT_NE(nullptr, MP4G::CSampleTableBox_wr(TableAt(1)).ChunkLargeOffsetBox());
  EXPECT_TRUE(IsWide(2));
}

TEST_F(MovieReader, LimitsOtherTracksToTheFirstVideoTrack) {
  MovieBuilder builder;
  builder.duration = 120;
  CMovieReader reader = Read(builder.Add(Lasting(AudioTrack(1, 1), 120, {{{120, 0}}}))
                                 .Add(Lasting(VideoTrack(1, 2), 100))
                                 .Add(Lasting(AudioTrack(1, 3), 90, {{{90, 0}}}))
                                 .Add(Lasting(AudioTrack(1, 4), 101)));
  ASSERT_OK(reader.LimitTrackDurationUnderVideoDuration());
  EXPECT_EQ(100, DurationAt(0));
  EXPECT_EQ(100u, EditsAt(0)->entries[0].segmentDuration);
  EXPECT_EQ(100, DurationAt(1));
  EXPECT_EQ(90, DurationAt(2));
  EXPECT_EQ(90u, EditsAt(2)->entries[0].segmentDuration);
  EXPECT_EQ(100, DurationAt(3));
  EXPECT_EQ(120, reader.GetDuration());
}

TEST_F(MovieReader, LimitsNoOtherVideoTrack) {
  CMovieReader reader =
      Read(MovieBuilder().Add(Lasting(VideoTrack(1, 1), 120)).Add(Lasting(VideoTrack(1, 2), 150)));
  ASSERT_OK(reader.LimitTrackDurationUnderVideoDuration());
  EXPECT_EQ(150, DurationAt(1));
}

TEST_F(MovieReader, GoesOnLimitingBehindATrackWithSeveralEdits) {
  CMovieReader reader = Read(MovieBuilder()
                                 .Add(Lasting(VideoTrack(1, 1), 100))
                                 .Add(Lasting(AudioTrack(1, 2), 120, {{{60, 0}, {60, 0}}}))
                                 .Add(Lasting(AudioTrack(1, 3), 130)));
  ASSERT_OK(reader.LimitTrackDurationUnderVideoDuration());
  EXPECT_EQ(100, DurationAt(1));
  EXPECT_EQ(60u, EditsAt(1)->entries[0].segmentDuration);
  EXPECT_EQ(100, DurationAt(2));
}

TEST_F(MovieReader, LimitsNothingWithoutAVideoDuration) {
  CMovieReader soundOnly = Read(MovieBuilder().Add(Lasting(AudioTrack(1), 120)));
  EXPECT_RESULT(S_FALSE, soundOnly.LimitTrackDurationUnderVideoDuration());
  EXPECT_EQ(120, DurationAt(0));
  // The second video track does not stand in.
  CMovieReader zero = Read(MovieBuilder()
                               .Add(Lasting(VideoTrack(1, 1), 0))
                               .Add(Lasting(VideoTrack(1, 2), 50))
                               .Add(Lasting(AudioTrack(1, 3), 120)));
  EXPECT_RESULT(S_FALSE, zero.LimitTrackDurationUnderVideoDuration());
  EXPECT_EQ(120, DurationAt(2));
}

TEST_F(MovieReader, ChangesTheScaleOfTheMovieAndItsTracks) {
  MovieBuilder builder;
  builder.timeScale = 1200;
  builder.duration = 4001;
  Track track = Lasting(VideoTrack(2), 201, {{{10, 7}, {0, 0}, {20, 0}}});
  CMovieReader reader = Read(builder.Add(track).Add(Lasting(AudioTrack(2), 99)));
  ASSERT_OK(reader.ChangeScale(600));
  EXPECT_EQ(600u, reader.GetTimeScale());
  EXPECT_EQ(2000, reader.GetDuration());
  EXPECT_EQ(100, DurationAt(0));
  EXPECT_EQ(49, DurationAt(1));
  EXPECT_EQ(50u, EditsAt(0)->entries[0].segmentDuration);
  EXPECT_EQ(0u, EditsAt(0)->entries[1].segmentDuration);
  EXPECT_EQ(200u, EditsAt(0)->entries[2].segmentDuration);
  EXPECT_EQ(7, EditsAt(0)->entries[0].mediaTime);
  EXPECT_EQ(30000u, CTrackReader(TrackAt(0)).GetTimeScale());
  EXPECT_EQ(2000, CTrackReader(TrackAt(0)).GetSampleDeltaSum());
}

TEST_F(MovieReader, ChangesTheScaleInArithmeticThatWraps) {
  MovieBuilder builder;
  builder.wideMovieHeader = true;
  builder.timeScale = 2;
  builder.duration = 0xC000000000000001;
  CMovieReader reader = Read(builder.Add(Lasting(VideoTrack(1), 5, {{{5, 0}}})));
  EditsAt(0)->entries[0].segmentDuration = 0x8000000000000000;
  ASSERT_OK(reader.ChangeScale(2));
  EXPECT_EQ(0x4000000000000001, reader.GetDuration());
  EXPECT_EQ(0u, EditsAt(0)->entries[0].segmentDuration);
}

TEST_F(MovieReader, RefusesAScaleOfZeroAndTheLackOfAnOldOne) {
  CMovieReader reader = Read(support::Clip(1));
  EXPECT_RESULT(E_INVALIDARG, reader.ChangeScale(0));
  EXPECT_EQ(600u, reader.GetTimeScale());
  MovieBuilder builder;
  builder.timeScale = 0;
  EXPECT_RESULT(E_BAD_DATA, Read(builder).ChangeScale(600));
  builder.withMovieHeader = false;
  EXPECT_RESULT(E_BAD_DATA, Read(builder).ChangeScale(600));
}

TEST_F(MovieReader, EndsAChangeOfScaleAtATrackWithoutHeader) {
  Track headless = VideoTrack(1, 2);
  headless.withTrackHeader = false;
  CMovieReader reader = Read(MovieBuilder().Add(Lasting(VideoTrack(1, 1), 100)).Add(headless));
  EXPECT_RESULT(E_BAD_DATA, reader.ChangeScale(300));
  EXPECT_EQ(300u, reader.GetTimeScale());
  EXPECT_EQ(50, DurationAt(0));
}

TEST_F(MovieReader, WalksOverThousandsOfTracksInLinearTime) {
  MP4G::CMovieBox crowd;
  for (int i = 0; i < 50000; ++i) ASSERT_OK(crowd.AddChildBox(FourCc("trak")));
  CMovieReader reader(&crowd);
  const double seconds = support::ProcessorSeconds([&] {
    EXPECT_EQ(0u, reader.GetVideoTrackNum());
    EXPECT_EQ(0u, reader.VideoIndexToTrackID(0));
    EXPECT_RESULT(S_FALSE, reader.LimitTrackDurationUnderVideoDuration());
    EXPECT_RESULT(E_POINTER, reader.ConvertChunkOffsetToChunkLargeOffset());
  });
  // One look-up by index for each would take a thousand million steps through a list.
  EXPECT_GT(2, seconds);
}

}  // namespace
