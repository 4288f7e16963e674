#include "reader/track_reader.h"

#include "box/header_boxes.h"
#include "box/structural_boxes.h"
#include "reader/movie_reader.h"
#include "reader/sample_table_reader.h"
#include "reader/time_scale.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

CSampleTableReader SampleTableOf(CTrackBox* track) {
  return CSampleTableReader(CTrackBox_wr(track).SampleTableBox());
}

unsigned int MovieTimeScaleOf(CTrackBox* track) {
  return CMovieReader(CTrackBox_wr(track).MovieBox()).GetTimeScale();
}

}  // namespace

unsigned int CTrackReader::GetTrackID() const {
  const CTrackHeaderBox* header = CTrackBox_wr(track).TrackHeaderBox();
  return header != nullptr ? static_cast<unsigned int>(header->recordA->trackId) : 0;
}

bool CTrackReader::IsVideoTrack() const {
  return CTrackBox_wr(track).VideoMediaHeaderBox() != nullptr;
}

bool CTrackReader::IsAudioTrack() const {
  return CTrackBox_wr(track).SoundMediaHeaderBox() != nullptr;
}

long long CTrackReader::GetTrackDuration() const {
  const CTrackHeaderBox* header = CTrackBox_wr(track).TrackHeaderBox();
  return header != nullptr ? static_cast<long long>(header->recordA->Duration()) : 0;
}

long long CTrackReader::GetMediaDuration() const {
  const CMediaHeaderBox* header = CTrackBox_wr(track).MediaHeaderBox();
  return header != nullptr ? static_cast<long long>(header->recordA->Duration()) : 0;
}

unsigned int CTrackReader::GetTimeScale() const {
  const CMediaHeaderBox* header = CTrackBox_wr(track).MediaHeaderBox();
  return header != nullptr ? static_cast<unsigned int>(header->recordA->timeScale) : 0;
}

unsigned int CTrackReader::GetSampleEntryType() const {
  return SampleTableOf(track).GetSampleEntryType();
}
unsigned int CTrackReader::GetSampleNum() const { return SampleTableOf(track).GetSampleNum(); }
unsigned int CTrackReader::GetChunkNum() const { return SampleTableOf(track).GetChunkNum(); }
long long CTrackReader::GetSampleDeltaSum() const {
  return SampleTableOf(track).GetSampleDeltaSum();
}
HRESULT CTrackReader::CtsToSample(long long cts, unsigned int* index) const {
  return SampleTableOf(track).CtsToSample(cts, index);
}
HRESULT CTrackReader::SampleIndexToPreSyncSample(unsigned int index, unsigned int* sync) const {
  return SampleTableOf(track).SampleIndexToPreSyncSample(index, sync);
}
HRESULT CTrackReader::SampleIndexToNextSyncSample(unsigned int index, unsigned int* sync) const {
  return SampleTableOf(track).SampleIndexToNextSyncSample(index, sync);
}
HRESULT CTrackReader::SampleIndexToCts(unsigned int index, long long* cts) const {
  return SampleTableOf(track).SampleIndexToCts(index, cts);
}
HRESULT CTrackReader::SampleIndexToLeastCts(unsigned int index, long long* cts) const {
  return SampleTableOf(track).SampleIndexToLeastCts(index, cts);
}
HRESULT CTrackReader::SampleIndexToChunkIndex(unsigned int index, unsigned int* chunk,
                                              unsigned int* firstSample) const {
  return SampleTableOf(track).SampleIndexToChunkIndex(index, chunk, firstSample);
}
HRESULT CTrackReader::ChunkIndexToSampleIndex(unsigned int chunk, unsigned int* index,
                                              signed char last) const {
  return SampleTableOf(track).ChunkIndexToSampleIndex(chunk, index, last);
}
HRESULT CTrackReader::CreateCtsList(unsigned int index, unsigned int count,
                                    std::list<long long>& list) const {
  return SampleTableOf(track).CreateCtsList(index, count, list);
}
HRESULT CTrackReader::ChangeSampleTableScale(unsigned int from, unsigned int to) {
  return SampleTableOf(track).ChangeSampleTableScale(from, to);
}
bool CTrackReader::RestChunkExist() const { return SampleTableOf(track).RestChunkExist(); }

long long CTrackReader::TrackTimeToMovieTime(long long time) const {
  return TrackTimeToMovieTime(time, MovieTimeScaleOf(track));
}

long long CTrackReader::TrackTimeToMovieTime(long long time, unsigned int movieScale) const {
  const unsigned int trackScale = GetTimeScale();
  return trackScale != 0 ? RescaledSigned(time, trackScale, movieScale) : 0;
}

long long CTrackReader::MovieTimeToTrackTime(long long time) const {
  const unsigned int movieScale = MovieTimeScaleOf(track);
  return movieScale != 0 ? RescaledSigned(time, movieScale, GetTimeScale()) : 0;
}

HRESULT CTrackReader::ChangeScale(unsigned int scale) {
  RETURN_IF(scale == 0, E_INVALIDARG);
  const CTrackBox_wr view(track);
  const CMediaHeaderBox* header = view.MediaHeaderBox();
  RETURN_IF(header == nullptr || header->recordA->timeScale == 0, E_BAD_DATA);
  const unsigned int before = header->recordA->timeScale;
  header->recordA->duration = Rescaled(header->recordA->Duration(), before, scale);
  header->recordA->timeScale = scale;
  if (CEditListBox* edits = view.EditListBox()) {
    for (_tagEDIT_LIST_ENTRY& edit : edits->entries)
      edit.mediaTime = RescaledEditTime(edit.mediaTime, before, scale);
  }
  return ChangeSampleTableScale(before, scale);
}

HRESULT CTrackReader::CalculateActualCts(long long& cts) const {
  const CEditListBox* edits = CTrackBox_wr(track).EditListBox();
  if (edits != nullptr && !edits->entries.empty())
    cts = WrappingDifference(cts, edits->entries.front().mediaTime);
  return S_OK;
}

HRESULT CTrackReader::RewriteTrackDuration(long long duration) {
  const CTrackBox_wr view(track);
  const CTrackHeaderBox* header = view.TrackHeaderBox();
  RETURN_IF(header == nullptr, E_POINTER);
  const std::uint64_t value = static_cast<std::uint64_t>(duration);
  header->recordA->duration = value;
  CEditListBox* edits = view.EditListBox();
  if (edits == nullptr) return S_OK;
  if (edits->entries.size() != 1) return S_FALSE;
  edits->entries.front().segmentDuration = value;
  return S_OK;
}

}  // namespace MP4G
