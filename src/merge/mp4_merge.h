// Folds each further input's box tree into the tree of the first input.
#pragma once

#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "foundation/result.h"
#include "reader/mp4_file.h"

namespace MP4G {

class CMovieHeaderBox;

// Decides whether an input fits, moves its chunk offsets to where its media will lie, adds
// durations, and appends the sample tables. Nothing is converted: an input that does not match is
// refused. There is no undo, a refusal leaves the first tree partly changed.
//
// MP4G_E_TIME_SCALE, MP4G_E_TRACK_COUNT: the movies or a pair of tracks differ.
// MP4G_E_SAMPLE_TABLE: anything refused while a track's tables were merged. E_BAD_DATA: a header
// box is missing, no track fits, an edit list is empty, or a track has no chunk offsets.
// E_INVALIDARG: an edit list in just one of a pair. E_POINTER: a null file.
class CMp4Merge {
 public:
  CMp4Merge() = default;
  virtual ~CMp4Merge() = default;
  CMp4Merge(const CMp4Merge&) = delete;
  CMp4Merge& operator=(const CMp4Merge&) = delete;

  void Reset();
  void ResetAtFirst();

  // To be called once the first input's media data stands at `mediaPos` in the output.
  [[nodiscard]] HRESULT ProcessFirstFile(CMp4File* file, long long mediaPos);
  // To be called for each later input, before its media data is copied.
  [[nodiscard]] HRESULT Merge(CMp4File* first, CMp4File* next);
  // Widens the chunk offsets of every track to 64 bits and shifts them.
  [[nodiscard]] HRESULT RewriteOffset(CMp4File* file, long long delta);
  [[nodiscard]] HRESULT MergeMovie(CMovieBox* first, CMovieBox* second);
  [[nodiscard]] HRESULT MergeTrack(CTrackBox* first, CTrackBox* second);
  [[nodiscard]] HRESULT MergeEditListBox(CEditListBox* first, CEditListBox* second);
  // The rule for a pair of optional boxes: S_OK if both exist, S_FALSE if neither, E_INVALIDARG if
  // just one.
  [[nodiscard]] HRESULT CheckBoxPointer(const CBox* first, const CBox* second) const;

  // The sample tables of a pair of tracks: the second's entries go behind the first's. No runs are
  // joined, nothing is sorted. Sample numbers and first chunks are shifted by what the first table
  // held.
  [[nodiscard]] HRESULT MergeSampleTable(CSampleTableBox* first, CSampleTableBox* second);
  [[nodiscard]] HRESULT MergeTimeToSampleBox(CTimeToSampleBox* first, CTimeToSampleBox* second);
  [[nodiscard]] HRESULT MergeCompositionOffsetBox(CCompositionOffsetBox* first,
                                                  CCompositionOffsetBox* second);
  // The field of a uniform size counts, not the second's table: a uniform first box and a second
  // box in table form give entries of size 0. E_OUTOFMEMORY where spelling out a uniform size would
  // take more than kMostSampleSizes entries.
  [[nodiscard]] HRESULT MergeSampleSizeBox(CSampleSizeBox* first, CSampleSizeBox* second);
  [[nodiscard]] HRESULT MergeSampleSizeBox_size0(CSampleSizeBox* first, CSampleSizeBox* second);
  [[nodiscard]] HRESULT MergeCompactSampleSizeBox(CCompactSampleSizeBox* first,
                                                  CCompactSampleSizeBox* second);
  [[nodiscard]] HRESULT MergeChunkLargeOffsetBox(CChunkLargeOffsetBox* first,
                                                 CChunkLargeOffsetBox* second);
  [[nodiscard]] HRESULT MergeChunkOffsetBox(CChunkOffsetBox* first, CChunkOffsetBox* second);
  // Both change the second box's entries in place. E_POINTER if just one box is there.
  [[nodiscard]] HRESULT MergeSampleToChunkBox(CSampleToChunkBox* first, CSampleToChunkBox* second,
                                              unsigned int chunkCount);
  [[nodiscard]] HRESULT MergeSyncSampleBox(CSyncSampleBox* first, CSyncSampleBox* second,
                                           unsigned int sampleCount);
  [[nodiscard]] HRESULT MergeSampleDependencyTypeBox(CSampleDependencyTypeBox* first,
                                                     CSampleDependencyTypeBox* second);

  long long nextMediaPos = 0;  // output position where the next input's media data will begin

 private:
  // MergeTrack for a track of the movie with that header; with null the header is looked for.
  [[nodiscard]] HRESULT MergeTrackOf(const CMovieHeaderBox* movie, CTrackBox* first,
                                     CTrackBox* second);
};

// A uniform sample size is spelled out up to this many entries, since its count is a number that no
// bytes back.
inline constexpr std::size_t kMostSampleSizes = std::size_t{1} << 28;

}  // namespace MP4G
