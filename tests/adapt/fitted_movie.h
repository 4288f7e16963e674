// What clips give once they are fitted to each other, without their media.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "adapt/fit.h"
#include "merge/mp4_merge.h"
#include "reader/box_reader.h"
#include "reader/movie_reader.h"

namespace clipchain {

// The movie box of the result, as the engine makes it of the views and `fit` completes it.
inline RawBox FittedMovie(const Fit& fit, std::size_t clips) {
  MP4G::CMp4File first;
  MP4G::CMp4Merge merge;
  for (std::size_t i = 0; i < clips; ++i) {
    int opened = 0;
    const auto view = fit.View(i, opened);
    EXPECT_GE(opened, 0);
    MP4G::CMp4File next;
    EXPECT_EQ((i == 0 ? first : next).SetReader(view.get()), S_OK);
    EXPECT_EQ(i == 0 ? merge.ProcessFirstFile(&first, 100) : merge.Merge(&first, &next), S_OK)
        << "clip " << i;
  }
  MP4G::CMovieReader reader(first.GetMovieBox());
  EXPECT_GE(reader.ConvertChunkLargeOffsetToChunkOffset(), 0);
  EXPECT_GE(reader.LimitTrackDurationUnderVideoDuration(), 0);
  MP4G::CBoxReader writer(first.GetMovieBox());
  const unsigned char* bytes = nullptr;
  unsigned int size = 0;
  EXPECT_EQ(writer.GetData(&bytes, &size), S_OK);
  const auto complete = fit.Complete(Bytes(bytes, bytes + size));
  EXPECT_TRUE(complete.has_value());
  RawBox movie;
  if (complete) {
    std::span<const unsigned char> in = *complete;
    EXPECT_TRUE(movie.Take(in));
  }
  return movie;
}

}  // namespace clipchain
