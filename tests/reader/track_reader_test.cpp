#include "reader/track_reader.h"

#include <gtest/gtest.h>

#include <limits>

#include "box/header_boxes.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "reader/sample_table_reader.h"
#include "reader/typed_views.h"
#include "support/movie_tree.h"

namespace {

using MP4G::CTrackReader;
using support::Edit;
using support::MovieBuilder;
using support::Track;
using support::VideoTrack;

// One track of a movie, with its reader.
class TrackReader : public testing::Test {
 protected:
  CTrackReader Read(const Track& track, std::uint32_t movieScale = 600) {
    MovieBuilder builder = MovieBuilder().Add(track);
    builder.timeScale = movieScale;
    movie = support::MovieTree(builder);
    EXPECT_NE(nullptr, movie);
    box = MP4G::CMovieBox_wr(movie.get()).TrackBox(track.id);
    return CTrackReader(box);
  }
  static Track WithEdits(std::vector<Edit> edits) {
    Track track = VideoTrack(4);
    track.wideHeaders = true;
    track.edits = std::move(edits);
    return track;
  }
  MP4G::CEditListBox* Edits() const { return MP4G::CTrackBox_wr(box).EditListBox(); }
  void Remove(const char (&type)[5], MP4G::CBox* parent) {
    parent->DeleteChildBox(parent->GetChildBox(FourCc(type), 0));
  }

  std::unique_ptr<MP4G::CMovieBox> movie;
  MP4G::CTrackBox* box = nullptr;
};

TEST_F(TrackReader, TellsTheValuesOfItsHeaders) {
  Track track = VideoTrack(4, 7);
  track.wideHeaders = true;
  track.timeScale = 1200;
  track.movieDuration = 99;
  track.mediaDuration = 0x100000002;
  const CTrackReader reader = Read(track);
  EXPECT_EQ(7u, reader.GetTrackID());
  EXPECT_EQ(99, reader.GetTrackDuration());
  EXPECT_EQ(0x100000002, reader.GetMediaDuration());
  EXPECT_EQ(1200u, reader.GetTimeScale());
}

TEST_F(TrackReader, TellsZeroWithoutATrack) {
  CTrackReader reader(nullptr);
  EXPECT_EQ(0u, reader.GetTrackID());
  EXPECT_FALSE(reader.IsVideoTrack());
  EXPECT_FALSE(reader.IsAudioTrack());
  EXPECT_EQ(0, reader.GetTrackDuration());
  EXPECT_EQ(0, reader.GetMediaDuration());
  EXPECT_EQ(0u, reader.GetTimeScale());
  EXPECT_EQ(0u, reader.GetSampleEntryType());
  EXPECT_EQ(0u, reader.GetSampleNum());
  EXPECT_EQ(0u, reader.GetChunkNum());
  EXPECT_EQ(0, reader.GetSampleDeltaSum());
  EXPECT_EQ(0, reader.TrackTimeToMovieTime(5));
  EXPECT_EQ(0, reader.MovieTimeToTrackTime(5));
  EXPECT_FALSE(reader.RestChunkExist());
  EXPECT_RESULT(E_BAD_DATA, reader.ChangeScale(600));
  EXPECT_RESULT(E_POINTER, reader.RewriteTrackDuration(5));
  long long cts = 5;
  EXPECT_OK(reader.CalculateActualCts(cts));
  EXPECT_EQ(5, cts);
}

TEST_F(TrackReader, TellsZeroWithoutHeaders) {
  const CTrackReader reader = Read(VideoTrack(4, 7));
  Remove("tkhd", box);
  EXPECT_EQ(0u, reader.GetTrackID());
  EXPECT_EQ(0, reader.GetTrackDuration());
  EXPECT_NE(0u, reader.GetTimeScale());
  Remove("mdia", box);
  EXPECT_EQ(0, reader.GetMediaDuration());
  EXPECT_EQ(0u, reader.GetTimeScale());
}

TEST_F(TrackReader, KnowsTheKindByTheMediaHeaderAndNotByTheHandler) {
  Track track = VideoTrack(4);
  track.handler = "soun";
  const CTrackReader sound = Read(track);
  EXPECT_TRUE(sound.IsAudioTrack());
  EXPECT_FALSE(sound.IsVideoTrack());
  MP4G::CTrackBox_wr(box).HandlerBox()->record->handlerType = FourCc("vide");
  EXPECT_TRUE(sound.IsAudioTrack());

  const CTrackReader video = Read(VideoTrack(4));
  MP4G::CTrackBox_wr(box).HandlerBox()->record->handlerType = FourCc("soun");
  EXPECT_TRUE(video.IsVideoTrack());
  EXPECT_FALSE(video.IsAudioTrack());
  Remove("vmhd", MP4G::CTrackBox_wr(box).MediaInformationBox());
  EXPECT_FALSE(video.IsVideoTrack());
}

TEST_F(TrackReader, ConvertsBetweenTrackTimeAndMovieTime) {
  Track track = VideoTrack(4);
  track.timeScale = 1200;
  const CTrackReader reader = Read(track, 600);
  EXPECT_EQ(600, reader.TrackTimeToMovieTime(1200));
  EXPECT_EQ(0, reader.TrackTimeToMovieTime(1));
  EXPECT_EQ(1, reader.TrackTimeToMovieTime(3));
  EXPECT_EQ(-1, reader.TrackTimeToMovieTime(-3));
  EXPECT_EQ(1200, reader.MovieTimeToTrackTime(600));
  EXPECT_EQ(-6, reader.MovieTimeToTrackTime(-3));
}

TEST_F(TrackReader, ConvertsWithWrappingProducts) {
  Track track = VideoTrack(4);
  track.timeScale = 1;
  const CTrackReader reader = Read(track, 4);
  EXPECT_EQ(0, reader.TrackTimeToMovieTime(0x4000000000000000));
  EXPECT_EQ(std::numeric_limits<long long>::min(), reader.TrackTimeToMovieTime(0x2000000000000000));
}

TEST_F(TrackReader, ConvertsToZeroWithoutAScale) {
  Track track = VideoTrack(4);
  track.timeScale = 0;
  EXPECT_EQ(0, Read(track, 600).TrackTimeToMovieTime(5));
  EXPECT_EQ(0, Read(track, 600).MovieTimeToTrackTime(5));
  EXPECT_EQ(0, Read(VideoTrack(4), 0).TrackTimeToMovieTime(5));
  EXPECT_EQ(0, Read(VideoTrack(4), 0).MovieTimeToTrackTime(5));
}

TEST_F(TrackReader, ConvertsToZeroOutsideAMovie) {
  const CTrackReader reader = Read(VideoTrack(4));
  MP4G::CListBox elsewhere;
  box->parent = &elsewhere;
  EXPECT_EQ(0, reader.TrackTimeToMovieTime(5000));
  EXPECT_EQ(0, reader.MovieTimeToTrackTime(5000));
  box->parent = movie.get();
  EXPECT_EQ(100, reader.TrackTimeToMovieTime(5000));
}

TEST_F(TrackReader, PassesQueriesOnToItsSampleTable) {
  Track track = VideoTrack(10);
  track.ctts = {{10, 7}};
  track.stss = {1, 6};
  CTrackReader reader = Read(track);
  EXPECT_EQ(FourCc("avc1"), reader.GetSampleEntryType());
  EXPECT_EQ(10u, reader.GetSampleNum());
  EXPECT_EQ(3u, reader.GetChunkNum());
  EXPECT_EQ(10000, reader.GetSampleDeltaSum());
  EXPECT_TRUE(reader.RestChunkExist());
  unsigned int index = 99;
  EXPECT_OK(reader.CtsToSample(3007, &index));
  EXPECT_EQ(3u, index);
  EXPECT_OK(reader.SampleIndexToPreSyncSample(7, &index));
  EXPECT_EQ(5u, index);
  EXPECT_OK(reader.SampleIndexToNextSyncSample(2, &index));
  EXPECT_EQ(5u, index);
  long long cts = -1;
  EXPECT_OK(reader.SampleIndexToCts(2, &cts));
  EXPECT_EQ(2007, cts);
  EXPECT_OK(reader.SampleIndexToLeastCts(3, &cts));
  EXPECT_EQ(3007, cts);
  unsigned int first = 99;
  EXPECT_OK(reader.SampleIndexToChunkIndex(6, &index, &first));
  EXPECT_EQ(1u, index);
  EXPECT_EQ(4u, first);
  EXPECT_OK(reader.ChunkIndexToSampleIndex(1, &index, 1));
  EXPECT_EQ(7u, index);
  std::list<long long> list;
  EXPECT_OK(reader.CreateCtsList(8, 5, list));
  EXPECT_EQ((std::list<long long>{8007, 9007}), list);
  EXPECT_OK(reader.ChangeSampleTableScale(1000, 500));
  EXPECT_EQ(5000, reader.GetSampleDeltaSum());
}

TEST_F(TrackReader, PassesOnTheArgumentsAndResults) {
  CTrackReader reader = Read(VideoTrack(10));
  EXPECT_RESULT(E_POINTER, reader.CtsToSample(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToPreSyncSample(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToNextSyncSample(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToCts(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToLeastCts(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToChunkIndex(0, nullptr, nullptr));
  EXPECT_RESULT(E_POINTER, reader.ChunkIndexToSampleIndex(0, nullptr, 0));
  EXPECT_RESULT(E_INVALIDARG, reader.ChangeSampleTableScale(0, 1));
  std::list<long long> list;
  EXPECT_RESULT(E_BAD_DATA, CTrackReader(nullptr).CreateCtsList(0, 1, list));
}

TEST_F(TrackReader, RewritesTheDurationOfItsHeaderAndItsOneEdit) {
  CTrackReader reader = Read(WithEdits({{10, 0}}));
  ASSERT_OK(reader.RewriteTrackDuration(77));
  EXPECT_EQ(77, reader.GetTrackDuration());
  EXPECT_EQ(77u, Edits()->entries[0].segmentDuration);
}

TEST_F(TrackReader, RewritesTheDurationOfItsHeaderAloneWithoutEdits) {
  CTrackReader reader = Read(VideoTrack(4));
  ASSERT_OK(reader.RewriteTrackDuration(77));
  EXPECT_EQ(77, reader.GetTrackDuration());
}

TEST_F(TrackReader, LeavesAnEditListThatHasNotExactlyOneEntry) {
  CTrackReader two = Read(WithEdits({{10, 0}, {20, 5}}));
  EXPECT_RESULT(S_FALSE, two.RewriteTrackDuration(77));
  EXPECT_EQ(77, two.GetTrackDuration());
  EXPECT_EQ(10u, Edits()->entries[0].segmentDuration);
  EXPECT_EQ(20u, Edits()->entries[1].segmentDuration);

  CTrackReader none = Read(WithEdits({}));
  EXPECT_RESULT(S_FALSE, none.RewriteTrackDuration(78));
  EXPECT_EQ(78, none.GetTrackDuration());
}

TEST_F(TrackReader, RewritesNothingWithoutAHeader) {
  CTrackReader reader = Read(WithEdits({{10, 0}}));
  Remove("tkhd", box);
  EXPECT_RESULT(E_POINTER, reader.RewriteTrackDuration(77));
  EXPECT_EQ(10u, Edits()->entries[0].segmentDuration);
}

TEST_F(TrackReader, TakesTheFirstEditOffACompositionTime) {
  const auto actual = [this](const Track& track) {
    long long cts = 100;
    EXPECT_OK(Read(track).CalculateActualCts(cts));
    return cts;
  };
  EXPECT_EQ(70, actual(WithEdits({{10, 30}, {10, 5}})));
  EXPECT_EQ(101, actual(WithEdits({{10, -1}})));
  EXPECT_EQ(100, actual(WithEdits({})));
  EXPECT_EQ(100, actual(VideoTrack(4)));
}

TEST_F(TrackReader, ChangesTheScaleOfItsMedia) {
  Track track = WithEdits({{10, 10}, {20, 0}, {30, -10}});
  track.timeScale = 1200;
  track.mediaDuration = 4001;
  CTrackReader reader = Read(track);
  ASSERT_OK(reader.ChangeScale(600));
  EXPECT_EQ(600u, reader.GetTimeScale());
  EXPECT_EQ(2000, reader.GetMediaDuration());
  EXPECT_EQ(50, Edits()->entries[0].mediaTime);
  EXPECT_EQ(0, Edits()->entries[1].mediaTime);
  EXPECT_EQ(50, Edits()->entries[2].mediaTime);
  EXPECT_EQ(10u, Edits()->entries[0].segmentDuration);
  EXPECT_EQ(2000, reader.GetSampleDeltaSum());
  EXPECT_EQ(80, reader.GetTrackDuration());
}

TEST_F(TrackReader, ChangesTheScaleInUnsignedArithmeticThatWraps) {
  Track track = VideoTrack(4);
  track.wideHeaders = true;
  track.timeScale = 2;
  track.mediaDuration = 0xC000000000000001;
  CTrackReader reader = Read(track);
  ASSERT_OK(reader.ChangeScale(2));
  EXPECT_EQ(static_cast<long long>(0x4000000000000001), reader.GetMediaDuration());
  ASSERT_OK(reader.ChangeScale(1));
  EXPECT_EQ(static_cast<long long>(0x2000000000000000), reader.GetMediaDuration());
}

TEST_F(TrackReader, ChangesTheScaleOfHugeEditsWithProductsThatWrap) {
  CTrackReader reader = Read(WithEdits({{1, std::numeric_limits<std::int64_t>::min()},
                                        {1, std::numeric_limits<std::int64_t>::max()}}));
  ASSERT_OK(reader.ChangeScale(30000));
  EXPECT_EQ(0, Edits()->entries[0].mediaTime);
  EXPECT_EQ(-std::numeric_limits<std::int64_t>::max(), Edits()->entries[1].mediaTime);
}

TEST_F(TrackReader, RefusesAScaleOfZeroAndTheLackOfAnOldOne) {
  CTrackReader reader = Read(VideoTrack(4));
  EXPECT_RESULT(E_INVALIDARG, reader.ChangeScale(0));
  EXPECT_EQ(30000u, reader.GetTimeScale());
  Track without = VideoTrack(4);
  without.timeScale = 0;
  EXPECT_RESULT(E_BAD_DATA, Read(without).ChangeScale(600));
  without.withMediaHeader = false;
  EXPECT_RESULT(E_BAD_DATA, Read(without).ChangeScale(600));
}

TEST_F(TrackReader, LeavesTheNewScaleWhereTheSampleTableCannotFollow) {
  Track track = VideoTrack(1);
  track.stts = {{1, 0x80000000}};
  track.timeScale = 1;
  CTrackReader reader = Read(track);
  EXPECT_RESULT(E_INVALIDARG, reader.ChangeScale(2));
  EXPECT_EQ(2u, reader.GetTimeScale());
  EXPECT_EQ(2000, reader.GetMediaDuration());
}

}  // namespace
