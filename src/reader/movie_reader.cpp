#include "reader/movie_reader.h"

#include <algorithm>

#include "box/header_boxes.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "reader/sample_table_reader.h"
#include "reader/time_scale.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

bool IsVideo(CTrackBox* track) { return CTrackReader(track).IsVideoTrack(); }
bool IsAudio(CTrackBox* track) { return CTrackReader(track).IsAudioTrack(); }

CSampleTableReader SampleTableOf(CTrackBox* track) {
  return CSampleTableReader(CTrackBox_wr(track).SampleTableBox());
}

unsigned int CountTracks(CMovieBox* movie, bool (*isOfKind)(CTrackBox*)) {
  const std::vector<CTrackBox*> tracks = CMovieBox_wr(movie).Tracks();
  return static_cast<unsigned int>(std::count_if(tracks.begin(), tracks.end(), isOfKind));
}

// Track number `index` among those of the kind, or null.
CTrackBox* TrackOfKind(CMovieBox* movie, bool (*isOfKind)(CTrackBox*), unsigned int index) {
  for (CTrackBox* track : CMovieBox_wr(movie).Tracks()) {
    if (!isOfKind(track)) continue;
    if (index == 0) return track;
    --index;
  }
  return nullptr;
}

HRESULT ChangeTrackScale(CTrackBox* track, unsigned int from, unsigned int to) {
  const CTrackBox_wr view(track);
  const CTrackHeaderBox* header = view.TrackHeaderBox();
  RETURN_IF(header == nullptr, E_BAD_DATA);
  header->recordA->duration = Rescaled(header->recordA->Duration(), from, to);
  if (CEditListBox* edits = view.EditListBox()) {
    for (_tagEDIT_LIST_ENTRY& edit : edits->entries) {
      edit.segmentDuration = static_cast<std::uint64_t>(
          RescaledEditTime(static_cast<long long>(edit.segmentDuration), from, to));
    }
  }
  return S_OK;
}

}  // namespace

unsigned int CMovieReader::GetTrackNum() const { return CMovieBox_wr(movie).GetTrackNum(); }
unsigned int CMovieReader::TrackIndexToID(unsigned int index) const {
  return CMovieBox_wr(movie).TrackIndexToID(index);
}
unsigned int CMovieReader::TrackIDtoIndex(unsigned int id) const {
  return CMovieBox_wr(movie).TrackIDtoIndex(id);
}

long long CMovieReader::GetDuration() const {
  const CMovieHeaderBox* header = CMovieBox_wr(movie).MovieHeaderBox();
  return header != nullptr ? static_cast<long long>(header->recordA->Duration()) : 0;
}

unsigned int CMovieReader::GetTimeScale() const {
  const CMovieHeaderBox* header = CMovieBox_wr(movie).MovieHeaderBox();
  return header != nullptr ? static_cast<unsigned int>(header->recordA->timeScale) : 0;
}

unsigned int CMovieReader::GetVideoTrackNum() const { return CountTracks(movie, IsVideo); }
unsigned int CMovieReader::VideoIndexToTrackID(unsigned int index) const {
  return CTrackReader(TrackOfKind(movie, IsVideo, index)).GetTrackID();
}
unsigned int CMovieReader::GetAudioTrackNum() const { return CountTracks(movie, IsAudio); }
unsigned int CMovieReader::AudioIndexToTrackID(unsigned int index) const {
  return CTrackReader(TrackOfKind(movie, IsAudio, index)).GetTrackID();
}

HRESULT CMovieReader::ChangeScale(unsigned int scale) {
  RETURN_IF(scale == 0, E_INVALIDARG);
  const CMovieBox_wr view(movie);
  const CMovieHeaderBox* header = view.MovieHeaderBox();
  RETURN_IF(header == nullptr || header->recordA->timeScale == 0, E_BAD_DATA);
  const unsigned int before = header->recordA->timeScale;
  header->recordA->duration = Rescaled(header->recordA->Duration(), before, scale);
  header->recordA->timeScale = scale;
  for (CTrackBox* track : view.Tracks()) RETURN_IF_NOT_OK(ChangeTrackScale(track, before, scale));
  return S_OK;
}

HRESULT CMovieReader::ConvertChunkOffsetToChunkLargeOffset() {
  for (CTrackBox* track : CMovieBox_wr(movie).Tracks())
    RETURN_IF_NOT_OK(SampleTableOf(track).ConvertChunkOffsetToChunkLargeOffset());
  return S_OK;
}

HRESULT CMovieReader::ConvertChunkLargeOffsetToChunkOffset() {
  const std::vector<CTrackBox*> tracks = CMovieBox_wr(movie).Tracks();
  for (CTrackBox* track : tracks)
    RETURN_IF(!SampleTableOf(track).CanConvertChunkLargeOffsetToChunkOffset(), S_FALSE);
  for (CTrackBox* track : tracks)
    RETURN_IF_NOT_OK(SampleTableOf(track).ConvertChunkLargeOffsetToChunkOffset());
  return S_OK;
}

HRESULT CMovieReader::LimitTrackDurationUnderVideoDuration() {
  const long long limit = CTrackReader(TrackOfKind(movie, IsVideo, 0)).GetTrackDuration();
  RETURN_IF(limit == 0, S_FALSE);
  for (CTrackBox* track : CMovieBox_wr(movie).Tracks()) {
    CTrackReader reader(track);
    if (!reader.IsVideoTrack() && reader.GetTrackDuration() > limit)
      RETURN_IF_NEGATIVE(reader.RewriteTrackDuration(limit));
  }
  return S_OK;
}

}  // namespace MP4G
