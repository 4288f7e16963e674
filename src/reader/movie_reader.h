// Answers questions about one "moov" and makes changes that concern all its tracks.
#pragma once

#include "foundation/result.h"

namespace MP4G {

class CMovieBox;

// A view without state. A track index counts the "trak" children from 0 in file order, a track ID
// is the value in "tkhd", and video and audio indexes count from 0 the tracks of that kind.
//
// Every walk over the tracks takes one pass. A change that fails leaves what it did so far.
class CMovieReader {
 public:
  // The box, which may be null, must outlive this object.
  explicit CMovieReader(CMovieBox* box) : movie(box) {}
  virtual ~CMovieReader() = default;

  unsigned int GetTrackNum() const;
  unsigned int TrackIndexToID(unsigned int index) const;  // 0 if there is none
  unsigned int TrackIDtoIndex(unsigned int id) const;     // 0xFFFFFFFF if there is none
  long long GetDuration() const;                          // of "mvhd", 0 without it
  unsigned int GetTimeScale() const;                      // of "mvhd", 0 without it
  unsigned int GetVideoTrackNum() const;
  unsigned int VideoIndexToTrackID(unsigned int index) const;  // 0 if there is none
  unsigned int GetAudioTrackNum() const;
  unsigned int AudioIndexToTrackID(unsigned int index) const;  // 0 if there is none

  // Gives the movie another time scale: "mvhd", "tkhd", and the durations of the edits, which are
  // multiplied with their old value once more. Media time scales and sample tables stay.
  // E_INVALIDARG for 0, E_BAD_DATA without an old scale or at a track without "tkhd".
  [[nodiscard]] HRESULT ChangeScale(unsigned int scale);
  // CSampleTableReader::ConvertChunkOffsetToChunkLargeOffset for every track.
  [[nodiscard]] HRESULT ConvertChunkOffsetToChunkLargeOffset();
  // Goes back to 32-bit offsets if all tracks can, else S_FALSE with nothing changed.
  [[nodiscard]] HRESULT ConvertChunkLargeOffsetToChunkOffset();
  // Cuts the duration of every track that is no video track to that of the first video track.
  // "mvhd" stays. S_FALSE if the first video track has no duration or there is none.
  [[nodiscard]] HRESULT LimitTrackDurationUnderVideoDuration();

  CMovieBox* movie;  // not owned
};

}  // namespace MP4G
