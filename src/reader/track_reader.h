// Answers questions about one "trak" and changes its scale and duration.
#pragma once

#include <list>

#include "foundation/result.h"

namespace MP4G {

class CTrackBox;

// A view without state, cheap enough to be made for each query. A box that is missing counts as 0.
// A track is a video or audio track by its media header box, not by its handler.
class CTrackReader {
 public:
  // The box, which may be null, must outlive this object.
  explicit CTrackReader(CTrackBox* box) : track(box) {}
  virtual ~CTrackReader() = default;

  unsigned int GetTrackID() const;
  bool IsVideoTrack() const;           // has "vmhd"
  bool IsAudioTrack() const;           // has "smhd"
  long long GetTrackDuration() const;  // of "tkhd", in the movie's time scale
  long long GetMediaDuration() const;  // of "mdhd", in the track's time scale
  unsigned int GetTimeScale() const;   // of "mdhd"

  // As CSampleTableReader has them.
  unsigned int GetSampleEntryType() const;
  unsigned int GetSampleNum() const;
  unsigned int GetChunkNum() const;
  long long GetSampleDeltaSum() const;
  [[nodiscard]] HRESULT CtsToSample(long long cts, unsigned int* index) const;
  [[nodiscard]] HRESULT SampleIndexToPreSyncSample(unsigned int index, unsigned int* sync) const;
  [[nodiscard]] HRESULT SampleIndexToNextSyncSample(unsigned int index, unsigned int* sync) const;
  [[nodiscard]] HRESULT SampleIndexToCts(unsigned int index, long long* cts) const;
  [[nodiscard]] HRESULT SampleIndexToLeastCts(unsigned int index, long long* cts) const;
  [[nodiscard]] HRESULT SampleIndexToChunkIndex(unsigned int index, unsigned int* chunk,
                                                unsigned int* firstSample) const;
  [[nodiscard]] HRESULT ChunkIndexToSampleIndex(unsigned int chunk, unsigned int* index,
                                                signed char last) const;
  [[nodiscard]] HRESULT CreateCtsList(unsigned int index, unsigned int count,
                                      std::list<long long>& list) const;
  [[nodiscard]] HRESULT ChangeSampleTableScale(unsigned int from, unsigned int to);
  bool RestChunkExist() const;

  // Between the scales of the track and of the movie that holds it: multiplied first, truncated,
  // wrapping at 64 bits. 0 if either scale is 0. Who has the movie's scale at hand spares the
  // search for it.
  long long TrackTimeToMovieTime(long long time) const;
  long long TrackTimeToMovieTime(long long time, unsigned int movieScale) const;
  long long MovieTimeToTrackTime(long long time) const;

  // Gives the media another time scale: "mdhd", the media times of the edits, and the sample table.
  // Edits that do not begin at 0 are multiplied with their old time once more. E_INVALIDARG for 0,
  // E_BAD_DATA without an old scale, or what ChangeSampleTableScale says, with the rest changed.
  [[nodiscard]] HRESULT ChangeScale(unsigned int scale);
  // Takes the media time of the first edit, if there is one, off a composition time.
  [[nodiscard]] HRESULT CalculateActualCts(long long& cts) const;
  // Sets the duration of "tkhd" and of the one edit. E_POINTER without "tkhd"; S_FALSE if there is
  // an edit list that does not have exactly one entry: it stays as it is.
  [[nodiscard]] HRESULT RewriteTrackDuration(long long duration);

  CTrackBox* track;  // not owned
};

}  // namespace MP4G
