// The half of CMp4Merge that appends one track's sample tables to another's.
#include "merge/mp4_merge.h"
#include "reader/sample_table_reader.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

template <class TableBox>
HRESULT Append(TableBox* first, const TableBox* second) {
  first->entries.insert(first->entries.end(), second->entries.begin(), second->entries.end());
  return first->FixParam();
}

}  // namespace

HRESULT CMp4Merge::MergeSampleTable(CSampleTableBox* first, CSampleTableBox* second) {
  const CSampleTableBox_wr a(first);
  const CSampleTableBox_wr b(second);
  RETURN_IF(a.SampleDescriptionBox() == nullptr || b.SampleDescriptionBox() == nullptr, E_BAD_DATA);
  // The one test of codec compatibility.
  RETURN_IF(!a.SampleDescriptionBox()->IsSameBox(b.SampleDescriptionBox()),
            MP4G_E_SAMPLE_DESCRIPTION);

  const CSampleTableReader reader(first);
  const unsigned int sampleCount = reader.GetSampleNum();
  const unsigned int chunkCount = reader.GetChunkNum();

  RETURN_IF_NEGATIVE(MergeTimeToSampleBox(a.TimeToSampleBox(), b.TimeToSampleBox()));
  RETURN_IF_NEGATIVE(MergeCompositionOffsetBox(a.CompositionOffsetBox(), b.CompositionOffsetBox()));
  RETURN_IF_NEGATIVE(MergeSampleSizeBox(a.SampleSizeBox(), b.SampleSizeBox()));
  RETURN_IF_NEGATIVE(MergeCompactSampleSizeBox(a.CompactSampleSizeBox(), b.CompactSampleSizeBox()));
  RETURN_IF_NEGATIVE(MergeChunkLargeOffsetBox(a.ChunkLargeOffsetBox(), b.ChunkLargeOffsetBox()));
  RETURN_IF_NEGATIVE(MergeSampleToChunkBox(a.SampleToChunkBox(), b.SampleToChunkBox(), chunkCount));
  RETURN_IF_NEGATIVE(MergeSyncSampleBox(a.SyncSampleBox(), b.SyncSampleBox(), sampleCount));
  RETURN_IF_NEGATIVE(
      MergeSampleDependencyTypeBox(a.SampleDependencyTypeBox(), b.SampleDependencyTypeBox()));
  return S_OK;
}

HRESULT CMp4Merge::MergeTimeToSampleBox(CTimeToSampleBox* first, CTimeToSampleBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

HRESULT CMp4Merge::MergeCompositionOffsetBox(CCompositionOffsetBox* first,
                                             CCompositionOffsetBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

HRESULT CMp4Merge::MergeSampleSizeBox(CSampleSizeBox* first, CSampleSizeBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  const unsigned int firstSize = first->record->sampleSize;
  const unsigned int secondSize = second->record->sampleSize;
  const unsigned int firstCount = first->record->sampleCount;
  const unsigned int secondCount = second->record->sampleCount;
  if (firstSize == 0 && secondSize == 0) {
    RETURN_IF_NEGATIVE(MergeSampleSizeBox_size0(first, second));
    return S_OK;
  }
  if (firstSize == secondSize) {
    first->record->sampleCount = firstCount + secondCount;
    return first->FixParam();
  }
  const unsigned int spelledOut = firstSize != 0 ? firstCount : 0;
  RETURN_IF(first->entries.size() + spelledOut + secondCount > kMostSampleSizes, E_OUTOFMEMORY);
  first->record->sampleSize = 0;
  first->entries.insert(first->entries.end(), spelledOut, firstSize);
  first->entries.insert(first->entries.end(), secondCount, secondSize);
  return first->FixParam();
}

HRESULT CMp4Merge::MergeSampleSizeBox_size0(CSampleSizeBox* first, CSampleSizeBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

HRESULT CMp4Merge::MergeCompactSampleSizeBox(CCompactSampleSizeBox* first,
                                             CCompactSampleSizeBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

HRESULT CMp4Merge::MergeChunkLargeOffsetBox(CChunkLargeOffsetBox* first,
                                            CChunkLargeOffsetBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

HRESULT CMp4Merge::MergeChunkOffsetBox(CChunkOffsetBox* first, CChunkOffsetBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

HRESULT CMp4Merge::MergeSampleToChunkBox(CSampleToChunkBox* first, CSampleToChunkBox* second,
                                         unsigned int chunkCount) {
  const HRESULT pair = CheckBoxPointer(first, second);
  RETURN_IF(pair < 0, E_POINTER);
  RETURN_IF_NOT_OK(pair);
  for (_tagSAMPLE_TO_CHUNK& entry : second->entries)
    entry.firstChunk = entry.firstChunk + chunkCount;
  return Append(first, second);
}

HRESULT CMp4Merge::MergeSyncSampleBox(CSyncSampleBox* first, CSyncSampleBox* second,
                                      unsigned int sampleCount) {
  const HRESULT pair = CheckBoxPointer(first, second);
  RETURN_IF(pair < 0, E_POINTER);
  RETURN_IF_NOT_OK(pair);
  for (unsigned int& number : second->entries) number += sampleCount;
  return Append(first, second);
}

HRESULT CMp4Merge::MergeSampleDependencyTypeBox(CSampleDependencyTypeBox* first,
                                                CSampleDependencyTypeBox* second) {
  RETURN_IF_NOT_OK(CheckBoxPointer(first, second));
  return Append(first, second);
}

}  // namespace MP4G
