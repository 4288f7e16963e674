#include "merge/mp4_merge.h"

#include <unordered_map>

#include "box/header_boxes.h"
#include "merge/free_tracks.h"
#include "merge/vireo_merge.h"
#include "reader/movie_reader.h"
#include "reader/sample_table_reader.h"
#include "reader/time_scale.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

CSampleTableReader TableOf(CTrackBox* track) {
  return CSampleTableReader(CTrackBox_wr(track).SampleTableBox());
}

}  // namespace

void CMp4Merge::Reset() { ResetAtFirst(); }

void CMp4Merge::ResetAtFirst() { nextMediaPos = 0; }

HRESULT CMp4Merge::ProcessFirstFile(CMp4File* file, long long mediaPos) {
  ResetAtFirst();
  RETURN_IF(file == nullptr, E_POINTER);
  const long long delta = WrappingDifference(mediaPos, file->mdatPos);
  nextMediaPos = WrappingSum(mediaPos, file->mdatSize);
  return RewriteOffset(file, delta);
}

HRESULT CMp4Merge::Merge(CMp4File* first, CMp4File* next) {
  RETURN_IF(first == nullptr || next == nullptr, E_POINTER);
  const long long delta = WrappingDifference(nextMediaPos, next->mdatPos);
  nextMediaPos = WrappingSum(nextMediaPos, next->mdatSize);
  RETURN_IF_NOT_OK(RewriteOffset(next, delta));
  return MergeMovie(first->GetMovieBox(), next->GetMovieBox());
}

HRESULT CMp4Merge::RewriteOffset(CMp4File* file, long long delta) {
  RETURN_IF(file == nullptr, E_POINTER);
  CMovieBox* movie = file->GetMovieBox();
  RETURN_IF_NEGATIVE(CMovieReader(movie).ConvertChunkOffsetToChunkLargeOffset());
  // Tracks that share an identifier all lead to the first of them, which moves once for each.
  std::unordered_map<CTrackBox*, unsigned int> repeats;
  HRESULT result = S_OK;
  for (CTrackBox* track : CMovieBox_wr(movie).TracksByID()) {
    const auto [known, isNew] = repeats.try_emplace(track, 0);
    if (!isNew) ++known->second;
    if (isNew) result = TableOf(track).RewriteChunkOffset(delta);
    if (result != S_OK) break;
  }
  for (const auto& [track, times] : repeats) {
    if (times != 0) RETURN_IF_NOT_OK(TableOf(track).RewriteChunkOffset(delta, times));
  }
  return result;
}

HRESULT CMp4Merge::MergeMovie(CMovieBox* first, CMovieBox* second) {
  // Whatever the camera's boxes are like, they never stop a merge.
  static_cast<void>(CMergeForVireo::MergeVRFBBox(first, second));
  const CMovieBox_wr firstView(first);
  CMovieHeaderBox* firstHeader = firstView.MovieHeaderBox();
  CMovieHeaderBox* secondHeader = CMovieBox_wr(second).MovieHeaderBox();
  RETURN_IF(firstHeader == nullptr || secondHeader == nullptr, E_BAD_DATA);
  RETURN_IF(firstHeader->recordA->timeScale != secondHeader->recordA->timeScale, MP4G_E_TIME_SCALE);
  firstHeader->recordA->duration = firstHeader->recordA->duration + secondHeader->recordA->duration;
  RETURN_IF(firstView.GetTrackNum() != CMovieBox_wr(second).GetTrackNum(), MP4G_E_TRACK_COUNT);

  FreeTracks freeTracks(second);
  for (CTrackBox* track : firstView.Tracks()) {
    const auto partner = freeTracks.First(CTrackReader(track).GetSampleEntryType());
    RETURN_IF(partner.track == nullptr, E_BAD_DATA);
    RETURN_IF_NOT_OK(MergeTrackOf(
        track != nullptr && track->parent == first ? firstHeader : nullptr, track, partner.track));
    freeTracks.Use(partner.id);
  }
  return S_OK;
}

HRESULT CMp4Merge::MergeTrack(CTrackBox* first, CTrackBox* second) {
  return MergeTrackOf(nullptr, first, second);
}

HRESULT CMp4Merge::MergeTrackOf(const CMovieHeaderBox* movie, CTrackBox* first, CTrackBox* second) {
  const CTrackBox_wr firstView(first);
  const CTrackBox_wr secondView(second);
  CTrackHeaderBox* firstHeader = firstView.TrackHeaderBox();
  CTrackHeaderBox* secondHeader = secondView.TrackHeaderBox();
  RETURN_IF(firstHeader == nullptr || secondHeader == nullptr, E_BAD_DATA);
  firstHeader->recordA->duration = firstHeader->recordA->duration + secondHeader->recordA->duration;

  CMediaHeaderBox* firstMedia = firstView.MediaHeaderBox();
  CMediaHeaderBox* secondMedia = secondView.MediaHeaderBox();
  RETURN_IF(firstMedia == nullptr || secondMedia == nullptr, E_BAD_DATA);
  RETURN_IF(firstMedia->recordA->timeScale != secondMedia->recordA->timeScale, MP4G_E_TIME_SCALE);
  firstMedia->recordA->duration = firstMedia->recordA->duration + secondMedia->recordA->duration;

  RETURN_IF_NEGATIVE(MergeEditListBox(firstView.EditListBox(), secondView.EditListBox()));

  // Derived from the summed media duration each time, so that rounding does not add up over the
  // inputs.
  CTrackReader reader(first);
  const long long mediaDuration = reader.GetMediaDuration();
  const long long movieDuration =
      movie != nullptr ? reader.TrackTimeToMovieTime(mediaDuration, movie->recordA->timeScale)
                       : reader.TrackTimeToMovieTime(mediaDuration);
  RETURN_IF_NEGATIVE(reader.RewriteTrackDuration(movieDuration));
  const HRESULT tables = MergeSampleTable(firstView.SampleTableBox(), secondView.SampleTableBox());
  return tables == S_OK ? S_OK : MP4G_E_SAMPLE_TABLE;
}

HRESULT CMp4Merge::MergeEditListBox(CEditListBox* first, CEditListBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  RETURN_IF(first->entries.empty() || second->entries.empty(), E_BAD_DATA);
  first->entries.front().segmentDuration += second->entries.front().segmentDuration;
  return first->FixParam();
}

HRESULT CMp4Merge::CheckBoxPointer(const CBox* first, const CBox* second) const {
  if (first == nullptr && second == nullptr) return S_FALSE;
  return first != nullptr && second != nullptr ? S_OK : E_INVALIDARG;
}

}  // namespace MP4G
