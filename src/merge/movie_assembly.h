// Puts together the boxes of a merged file: what stands ahead of the media and the movie behind it.
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

// Writes the header of that much media, 8 or 16 bytes, at the end of the room.
[[nodiscard]] HRESULT PutMediaHeader(unsigned long long mediaSize,
                                     unsigned char (&room)[kMediaHeaderRoom], unsigned int* size);

// A merge in memory, without the media. The codes are those with which a merge into a file refuses
// an input or fails at its end; nothing is to be done after one that is not S_OK.
class CMovieAssembly {
 public:
  // The movie of the first input becomes the merged one, so this input must stay; a later one is
  // needed during its call alone.
  [[nodiscard]] HRESULT Take(CMp4File* input);

  // Completes the movie, once all inputs are taken, and gives the bytes of the file ahead of its
  // media and the movie box behind it.
  [[nodiscard]] HRESULT Finish(std::vector<unsigned char>& head, std::vector<unsigned char>& movie);

  // Bytes ahead of the media where that input is the first; 0 if it has no file type box.
  static long long HeadSize(const CMp4File& first);

 private:
  [[nodiscard]] HRESULT GetHead(std::vector<unsigned char>& bytes) const;

  CMp4File* first_ = nullptr;  // not owned
  CMp4Merge merge_;
  unsigned long long mediaSize_ = 0;
};

}  // namespace MP4G
