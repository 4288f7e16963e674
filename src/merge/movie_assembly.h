// Puts together the boxes of a merged file, wherever its media is to lie.
#pragma once

#include <vector>

#include "merge/mp4_merge.h"
#include "reader/mp4_file.h"

namespace MP4G {

// Bytes between the file type box and the media: either form of the media's header fits.
constexpr long long kMediaHeaderRoom = 16;

// Gives a movie that all inputs were merged into its last form: chunk offsets as narrow as they may
// be, no track longer than the video. Negative if either fails.
[[nodiscard]] HRESULT CompleteMovie(CMovieBox* movie);

// Fills the room with the header of that much media, of 8 or 16 bytes, and an empty box ahead of a
// short one, so that the media begins at one place.
[[nodiscard]] HRESULT FillMediaRoom(unsigned long long mediaSize,
                                    unsigned char (&room)[kMediaHeaderRoom],
                                    unsigned int* headerSize);

// A merge in memory, without the media. The codes are those with which a merge into a file refuses
// an input or fails at its end; nothing is to be done after one that is not S_OK.
class CMovieAssembly {
 public:
  // `mediaPosition`: where its media begins in the merged file. The movie of the first input
  // becomes the merged one, so this input must stay; a later one is needed during its call alone.
  [[nodiscard]] HRESULT Take(CMp4File* input, long long mediaPosition);

  // Completes the movie, once all inputs are taken, and gives the file type box, with which the
  // merged file begins, and the movie box.
  [[nodiscard]] HRESULT Finish(std::vector<unsigned char>& fileType,
                               std::vector<unsigned char>& movie);

  // Bytes of the file type box and the room behind it where that input is the first; 0 if it has no
  // such box.
  static long long HeadSize(const CMp4File& first);

 private:
  CMp4File* first_ = nullptr;  // not owned
  CMp4Merge merge_;
};

}  // namespace MP4G
